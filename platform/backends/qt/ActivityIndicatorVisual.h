#pragma once

#include "platform/backends/qt/LayerVisual.h"
#include "platform/backends/qt/PictureItem.h"

#include <QTimer>
#include <vector>

/// The turning wheel of a UIActivityIndicatorView: twelve pictures, drawn once, one after the other. Its clock runs
/// only while the wheel turns and can be seen.
class ActivityIndicatorVisual : public LayerVisual {
 public:
  explicit ActivityIndicatorVisual(LayerItem& host);
  ~ActivityIndicatorVisual() override;
  void update(CALayer& layer) override;

 private:
  void runClock();
  void turn();

  PictureItem* item_;
  QTimer clock_;
  std::vector<QImage> pictures_;
  QSize pixels_;
  QColor color_;
  std::size_t shown_ = 0;
  bool turns_ = false;
};
