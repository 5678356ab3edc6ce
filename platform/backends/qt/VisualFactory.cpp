#include "platform/backends/qt/VisualFactory.h"

#include "platform/backends/qt/ActivityIndicatorVisual.h"
#include "platform/backends/qt/BackdropVisual.h"
#include "platform/backends/qt/CardVisual.h"
#include "platform/backends/qt/ImageVisual.h"
#include "platform/backends/qt/LabelVisual.h"
#include "platform/backends/qt/PopoverVisual.h"
#include "platform/backends/qt/SegmentedVisual.h"
#include "platform/backends/qt/SwitchVisual.h"
#include "platform/backends/qt/TextFieldVisual.h"
#include "platform/backends/qt/TextViewVisual.h"
#include "platform/backends/qt/TimelineVisual.h"
#include "platform/backends/qt/ToolbarVisual.h"
#include "platform/backends/qt/VideoVisual.h"

namespace {

template <class Visual>
std::unique_ptr<LayerVisual> make(LayerItem& host) {
  return std::make_unique<Visual>(host);
}

struct Kind {
  std::string_view name;
  std::unique_ptr<LayerVisual> (*make)(LayerItem& host);
};

// One line for each kind.
constexpr Kind kinds[] = {
    {"label", make<LabelVisual>},
    {"image", make<ImageVisual>},
    {"button", make<ImageVisual>},
    {"toolbar", make<ToolbarVisual>},
    {"backdrop", make<BackdropVisual>},
    {"video", make<VideoVisual>},
    {"scrubber", make<TimelineVisual>},
    {"textfield", make<TextFieldVisual>},
    {"textview", make<TextViewVisual>},
    {"switch", make<SwitchVisual>},
    {"switchKnob", make<SwitchKnobVisual>},
    {"segmented", make<SegmentedVisual>},
    {"card", make<CardVisual>},
    {"popover", make<PopoverVisual>},
    {"activityIndicator", make<ActivityIndicatorVisual>},
};

}  // namespace

std::unique_ptr<LayerVisual> VisualFactory::make(std::string_view kind, LayerItem& host) {
  for (const Kind& known : kinds) {
    if (known.name == kind) {
      return known.make(host);
    }
  }
  return nullptr;
}
