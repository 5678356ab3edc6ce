#include "automation/EditorState.h"

#include "automation/JSON.h"
#include "editor/ZVVideoEditorViewController.h"
#include "platform/UIKit/UIActivityViewController.h"
#include "platform/UIKit/UIAlertController.h"
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
      names.push_back(item->accessibilityIdentifier());
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

void addSheet(JSONObject& state, const UIActivityViewController* sheet) {
  if (!sheet) {
    state.addNull("sheet");
    return;
  }
  std::vector<std::string> types, titles;
  for (const auto& activity : sheet->activities()) {
    types.push_back(activity->activityType());
    titles.push_back(activity->activityTitle());
  }
  const bool isPopover = sheet->modalPresentationStyle() == UIModalPresentationStyle::Popover;
  JSONObject object;
  object.add("style", isPopover ? "popover" : "sheet").add("activities", types).add("titles", titles);
  state.add("sheet", object);
}

void addAlert(JSONObject& state, const UIAlertController* alert) {
  if (!alert) {
    state.addNull("alert");
    return;
  }
  std::vector<std::string> buttons;
  for (const auto& action : alert->actions()) buttons.push_back(action->title());
  JSONObject object;
  object.add("title", alert->title()).add("message", alert->message()).add("buttons", buttons);
  state.add("alert", object);
}

void addPresented(JSONObject& state, const UIViewController& root) {
  std::vector<std::string> classes;
  const UIActivityViewController* sheet = nullptr;
  const UIAlertController* alert = nullptr;
  for (auto at = root.presentedViewController(); at; at = at->presentedViewController()) {
    classes.push_back(NSStringFromClass(at->class_()));
    if (const auto* found = dynamic_cast<const UIActivityViewController*>(at.get())) sheet = found;
    if (const auto* found = dynamic_cast<const UIAlertController*>(at.get())) alert = found;
  }
  addSheet(state, sheet);
  addAlert(state, alert);
  state.add("presented", classes);
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
  state.add("reachable", reachable);
  addPresented(state, editor);
  state.add("movie", editor.videoURL().path()).add("activityTypes", *editor.activityTypes());

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
