#include "automation/EditorState.h"

#include "automation/JSON.h"
#include "editor/ZVVideoEditorViewController.h"
#include "platform/UIKit/UIScreen.h"

#include <iomanip>
#include <sstream>

namespace {

std::vector<std::string> itemNames(const UIToolbar& bar) {
  std::vector<std::string> names;
  for (const Strong<UIBarButtonItem>& item : bar.items()) {
    if (item->isSpace()) {
      names.emplace_back(item->systemItem() == UIBarButtonSystemItem::FlexibleSpace ? "flexible space" : "fixed space");
    } else if (const auto label = std::dynamic_pointer_cast<UILabel>(item->customView())) {
      names.push_back(label->text());
    } else {
      names.push_back(item->accessibilityLabel());
    }
  }
  return names;
}

bool isOnScreen(const Strong<UIView>& view) {
  return view && view->window();
}

void addBar(JSONObject& state, const std::string& key, const Strong<UIToolbar>& bar) {
  if (isOnScreen(bar)) {
    state.add(key, itemNames(*bar));
  } else {
    state.addNull(key);
  }
}

void addFrame(JSONObject& frames, const std::string& key, const Strong<UIView>& view) {
  if (isOnScreen(view)) {
    const CGPoint origin = view->convertPointToWindow({0, 0});
    frames.add(key, CGRect{origin, view->bounds().size});
  } else {
    frames.addNull(key);
  }
}

void writeView(std::ostream& out, const UIView& view, int depth) {
  const CGRect frame = view.frame();
  out << std::string(static_cast<std::size_t>(depth) * 2, ' ') << NSStringFromClass(view.class_()) << " ("
      << frame.origin.x << ", " << frame.origin.y << ", " << frame.size.width << ", " << frame.size.height << ")";
  if (view.isHidden()) out << " hidden";
  if (view.alpha() != 1) out << " alpha " << view.alpha();
  if (!view.isUserInteractionEnabled()) out << " no input";
  if (!view.accessibilityLabel().empty()) out << " named " << jsonString(view.accessibilityLabel());
  if (const auto* label = dynamic_cast<const UILabel*>(&view)) out << " text " << jsonString(label->text());
  if (const auto* bar = dynamic_cast<const UIToolbar*>(&view)) {
    out << " items";
    for (const std::string& name : itemNames(*bar)) out << " " << jsonString(name);
  }
  if (const auto* scrubber = dynamic_cast<const UIMovieScrubber*>(&view)) {
    out << " at " << scrubber->value() << " of " << scrubber->duration() << " s";
    if (scrubber->isEditing()) {
      out << ", from " << scrubber->editingStartValue() << " to " << scrubber->editingEndValue() << " s";
    }
  }
  out << "\n";
  for (const Strong<UIView>& subview : view.subviews()) writeView(out, *subview, depth + 1);
}

}  // namespace

std::string editorState(ZVVideoEditorViewController& editor, UIWindow& window) {
  JSONObject flags;
  flags.add("trimming", editor.isTrimming())
      .add("scrubbing", editor.isScrubbing())
      .add("exporting", editor.isExporting())
      .add("uiHidden", editor.isUIHidden())
      .add("introMode", editor.isIntroMode())
      .add("padMode", editor.isPadMode())
      .add("hasEdit", editor.hasEdit());

  const UIMovieScrubber& timeline = *editor.avTrimmer();
  JSONObject state;
  state
      .add("size", std::vector<int>{static_cast<int>(window.bounds().size.width),
                                    static_cast<int>(window.bounds().size.height)})
      .add("scale", static_cast<double>(UIScreen::mainScreen().scale()))
      .add("flags", flags)
      .add("playing", editor.avPlayer()->rate() != 0)
      .add("playhead", CMTimeGetSeconds(editor.avPlayer()->currentTime()))
      .add("duration", editor.getPlayerDuration());

  JSONObject range;
  range.add("start", editor.editStartTime()).add("end", editor.editEndTime());
  state.add("range", range);
  if (timeline.isEditing()) {
    JSONObject handles;
    handles.add("start", timeline.editingStartValue()).add("end", timeline.editingEndValue());
    state.add("handles", handles);
  } else {
    state.addNull("handles");
  }

  addBar(state, "topToolBar", editor.topToolBar());
  addBar(state, "bottomToolBar", editor.bottomToolBar());
  std::vector<std::string> reachable;
  for (const UIWindow::Reachable& found : window.reachableElements()) reachable.push_back(found.element.label);
  state.add("reachable", reachable)
      .add("movie", editor.videoURL().path())
      .add("activityTypes", *editor.activityTypes());

  JSONObject frames;
  addFrame(frames, "view", editor.view());
  frames.add("video", editor.avPlayerLayer()->frame());
  addFrame(frames, "topToolBar", editor.topToolBar());
  addFrame(frames, "bottomToolBar", editor.bottomToolBar());
  addFrame(frames, "timeline", editor.scrubberContainterView());
  addFrame(frames, "scrubber", editor.avTrimmer());
  addFrame(frames, "overlayPlayButton", editor.videoOverlayPlayButton());
  return state.add("frames", frames).text();
}

std::string viewTree(const UIView& view) {
  std::ostringstream out;
  out << std::setprecision(6);
  writeView(out, view, 0);
  return out.str();
}
