#pragma once

#include "platform/QuartzCore/CALayer.h"
#include "platform/backends/qt/LayerVisual.h"

#include <QColor>
#include <QObject>
#include <QRectF>
#include <unordered_map>
#include <vector>

class BackdropItem;
class LayerItem;
class QQuickItem;
class QQuickWindow;
class QmlItems;

/// Keeps one Quick item for each layer of a tree, with its place, stacking and looks. One way: nothing goes back into
/// the layers. Main thread.
class LayerMirror : public QObject {
  Q_OBJECT
 public:
  LayerMirror(QQuickWindow& window, QmlItems& qml);
  ~LayerMirror() override;

  QQuickWindow& window() const { return window_; }
  QmlItems& qml() const { return qml_; }
  qreal pixelRatio() const;

  /// The tree to show from the next `commit` on; null takes every item away at once.
  void setRoot(const Strong<CALayer>& root);
  /// Makes the items as the layers are now.
  void commit();
  LayerItem* itemForLayer(const CALayer* layer) const;
  /// How often `commit` has run since the start.
  long commitCount() const { return commitCount_; }

  /// Something that lies behind `item` and is visible; places in the window, in points, from back to front.
  struct Behind {
    QRectF place;
    qreal opacity = 1;
    QColor color;                  ///< of the whole place, when it is valid
    LayerVisual::Picture picture;  ///< `place` is the picture's
    /// Pictures are compared by their version.
    bool operator==(const Behind& other) const {
      return place == other.place && opacity == other.opacity && color == other.color &&
             picture.version == other.picture.version;
    }
  };
  std::vector<Behind> behind(const LayerItem& item) const;

  /// A visual's picture is a new one although no layer changed (a playing video): backdrops have to follow.
  void pictureChanged();

  // For BackdropItem.
  void addBackdrop(BackdropItem* backdrop) { backdrops_.push_back(backdrop); }
  void removeBackdrop(BackdropItem* backdrop) { std::erase(backdrops_, backdrop); }

 private:
  LayerItem* sync(CALayer& layer, QQuickItem* parentItem, const LayerItem* parent);
  bool collect(const LayerItem& from, qreal opacity, const LayerItem& upTo, std::vector<Behind>& into) const;

  QQuickWindow& window_;
  QmlItems& qml_;
  Strong<CALayer> root_;
  struct Entry {
    LayerItem* item;
    long seen;
  };
  std::unordered_map<const CALayer*, Entry> items_;
  std::vector<BackdropItem*> backdrops_;
  long commitCount_ = 0;
};
