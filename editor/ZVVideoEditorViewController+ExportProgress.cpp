#include "editor/ZVVideoEditorViewController.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIKitStrings.h"

namespace {

constexpr double kPatience = 0.5;    // seconds that an export may take before its progress is shown
constexpr double kInterval = 0.1;    // seconds between two looks at it
constexpr CGFloat kBarHeight = 2.5;  // points

}  // namespace

void ZVVideoEditorViewController::watchExportProgress() {
  lookAtExportProgressAfter(kPatience, exportSession());
}

void ZVVideoEditorViewController::lookAtExportProgressAfter(double seconds, const Weak<AVAssetExportSession>& watched) {
  dispatch_after(seconds, dispatch_get_main_queue(), [weak = weakSelf(), watched] {
    const auto self = weak.lock();
    const auto session = watched.lock();
    // Another export has a watch of its own.
    if (!self || !session || session != self->exportSession() || !self->isExporting()) return;
    self->showExportProgress(session->progress());
    self->lookAtExportProgressAfter(kInterval, watched);
  });
}

void ZVVideoEditorViewController::watchSaveProgress() {
  lookAtSaveProgressAfter(kPatience);
}

void ZVVideoEditorViewController::lookAtSaveProgressAfter(double seconds) {
  dispatch_after(seconds, dispatch_get_main_queue(), [weak = weakSelf()] {
    const auto self = weak.lock();
    const PHPhotoLibrary& library = PHPhotoLibrary::sharedPhotoLibrary();
    // An export has a watch of its own.
    if (!self || self->isExporting() || !library.hasPendingSaves()) return;
    self->showExportProgress(library.progress());
    self->lookAtSaveProgressAfter(kInterval);
  });
}

void ZVVideoEditorViewController::showExportProgress(float progress) {
  const bool first = !exportProgressView_;
  if (first) {
    exportProgressView_ = std::make_shared<UIProgressView>();
    exportProgressView_->setAccessibilityLabel(UIKitLocalizedString("Saving"));
    const CGSize bar = topToolBar()->bounds().size;
    exportProgressView_->setFrame(CGRectMake(0, bar.height - kBarHeight, bar.width, kBarHeight));
    exportProgressView_->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleTopMargin);
    topToolBar()->addSubview(exportProgressView_);
  }
  exportProgressView_->setProgress_animated(progress, !first);
}

void ZVVideoEditorViewController::hideExportProgress() {
  if (!exportProgressView_) return;
  exportProgressView_->removeFromSuperview();
  exportProgressView_ = nullptr;
}
