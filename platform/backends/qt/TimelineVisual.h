#pragma once

#include "platform/backends/qt/LayerVisual.h"
#include "platform/backends/qt/TimelinePainter.h"

class PictureItem;
class QQuickItem;

/// The timeline control: its strip and its playhead as painted pictures, and the time above (Timeline.qml). The
/// playhead moves thirty times a second without the strip being painted again.
class TimelineVisual : public LayerVisual {
 public:
  explicit TimelineVisual(LayerItem& host);
  ~TimelineVisual() override;
  void update(CALayer& layer) override;

 private:
  void showCursor(const UIMovieScrubber::Look& look);
  bool stripChanged(const UIMovieScrubber::Look& look) const;

  void showPlayhead(const UIMovieScrubber::Look& look, bool isNew);
  void showTime(const UIMovieScrubber::Look& look);

  PictureItem* strip_;
  PictureItem* playhead_;
  QQuickItem* time_ = nullptr;  ///< made when a time is shown for the first time
  TimelinePainter painter_;
  UIMovieScrubber::Look shown_;
  QSizeF shownSize_;
  qreal shownRatio_ = 0;
  bool hasCursor_ = false;
};
