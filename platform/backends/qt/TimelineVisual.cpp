#include "platform/backends/qt/TimelineVisual.h"

#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/LayerMirror.h"
#include "platform/backends/qt/PictureItem.h"
#include "platform/backends/qt/QmlItems.h"
#include "platform/backends/qt/QtConversions.h"

#include <QFont>
#include <QQuickWindow>
#include <algorithm>
#include <cmath>

namespace {

constexpr CGFloat kTimeSize = 13;

bool isTrimHandle(int handle) {
  return handle == UIMovieScrubber::HandleStart || handle == UIMovieScrubber::HandleEnd;
}

}  // namespace

TimelineVisual::TimelineVisual(LayerItem& host)
    : LayerVisual(host), strip_(new PictureItem(&host)), playhead_(new PictureItem(&host)) {}

TimelineVisual::~TimelineVisual() {
  if (hasCursor_ && host().window()) {
    host().window()->unsetCursor();
  }
}

void TimelineVisual::update(CALayer& layer) {
  const auto* scrubber = dynamic_cast<const UIMovieScrubber*>(layer.view());
  if (!scrubber) {
    return;
  }
  const UIMovieScrubber::Look look = scrubber->look();
  const qreal ratio = host().pixelRatio();
  const bool isResized = host().size() != shownSize_ || ratio != shownRatio_;
  if (stripChanged(look) || isResized) {
    shownSize_ = host().size();
    shownRatio_ = ratio;
    strip_->setSize(shownSize_);
    strip_->setImage(painter_.paint(look, shownSize_, ratio));
  }
  showPlayhead(look, isResized);
  showTime(look);
  showCursor(look);
  shown_ = look;
}

bool TimelineVisual::stripChanged(const UIMovieScrubber::Look& look) const {
  const auto same = [](const auto& a, const auto& b) { return a.frame == b.frame && a.image == b.image; };
  return !(look.strip == shown_.strip) || look.showsEnds != shown_.showsEnds || look.editing != shown_.editing ||
         look.startX != shown_.startX || look.endX != shown_.endX || look.activeHandle != shown_.activeHandle ||
         look.hoveredHandle != shown_.hoveredHandle || look.handleWidth != shown_.handleWidth ||
         !std::equal(look.thumbnails.begin(), look.thumbnails.end(), shown_.thumbnails.begin(), shown_.thumbnails.end(),
                     same);
}

void TimelineVisual::showPlayhead(const UIMovieScrubber::Look& look, bool isNew) {
  const qreal ratio = shownRatio_;
  if (isNew || look.strip.size.height != shown_.strip.size.height) {
    const QImage image = TimelinePainter::paintPlayhead(look.strip.size.height, ratio);
    playhead_->setSize(QSizeF(image.size()) / ratio);
    playhead_->setImage(image);
  }
  const QPointF centre(look.playheadX, look.strip.origin.y + look.strip.size.height / 2);
  const QPointF corner = (centre - QPointF(playhead_->width(), playhead_->height()) / 2) * ratio;
  playhead_->setPosition(QPointF(std::round(corner.x()), std::round(corner.y())) / ratio);
  playhead_->setVisible(look.showsPlayhead);
}

void TimelineVisual::showTime(const UIMovieScrubber::Look& look) {
  if (!time_) {
    if (look.timeText.empty()) {
      return;  // most of the time: nothing is set up for it before it is needed
    }
    time_ = host().mirror().qml().make(QStringLiteral("Timeline"), host());
    if (!time_) {
      return;
    }
    time_->setProperty("font", toQFont({kTimeSize, true}));
  }
  time_->setSize(host().size());
  time_->setProperty("pixelRatio", shownRatio_);
  time_->setProperty("strip", toQRectF(look.strip));
  time_->setProperty("timeX", look.timeTextX);
  time_->setProperty("time", QString::fromStdString(look.timeText));
}

void TimelineVisual::showCursor(const UIMovieScrubber::Look& look) {
  const bool wanted = isTrimHandle(look.activeHandle) || isTrimHandle(look.hoveredHandle);
  if (wanted == hasCursor_ || !host().window()) {
    return;
  }
  hasCursor_ = wanted;
  if (wanted) {
    host().window()->setCursor(Qt::SizeHorCursor);
  } else {
    host().window()->unsetCursor();
  }
}
