#include "editor/ZVVideoEditorViewController.h"
#include "platform/UIKit/UIDevice.h"

void ZVVideoEditorViewController::applyLayoutForCurrentDevice() {
  const Strong<UIDevice>& device = UIDevice::currentDevice();
  if (device->respondsToSelector("userInterfaceIdiom") && device->userInterfaceIdiom() == UIUserInterfaceIdiom::Pad) {
    applyPadUILayout();
  } else if (currentOrientation() == 1) {
    applyPadUILayout();
  } else {
    applyPhoneUILayout();
  }
}

void ZVVideoEditorViewController::applyPhoneUILayout() {
  playButton()->setImageInsets({});
  pauseButton()->setImageInsets({});
  shareButton()->setImageInsets({});
  if (isTrimming()) {
    topToolBar()->setItems({cancelTrimButton(), flexSpace(), titleButton(), flexSpace(), trimButton()});
    bottomToolBar()->setItems({flexSpace(), playButton(), flexSpace()});
  } else {
    bottomToolBar()->setItems(isIntroMode() ? BarItems{shareButton(), flexSpace()}
                                            : BarItems{shareButton(), flexSpace(), playButton(), flexSpace()});
    topToolBar()->setItems({cancelButton(), flexSpace(), titleButton(), flexSpace(), saveButton()});
  }
  view()->addSubview(bottomToolBar());
  applyPhoneConstraints();
  setPadMode(false);
}

void ZVVideoEditorViewController::applyPadUILayout() {
  playButton()->setImageInsets({8, 0, -8, 0});
  pauseButton()->setImageInsets({8, 0, -8, 0});
  shareButton()->setImageInsets({5, 0, -5, 0});
  if (isTrimming()) {
    topToolBar()->setItems(
        {cancelTrimButton(), flexSpace(), titleButton(), flexSpace(), playButton(), fixSpace(), trimButton()});
  } else if (isIntroMode()) {
    topToolBar()->setItems(
        {cancelButton(), flexSpace(), titleButton(), flexSpace(), shareButton(), fixSpace(), saveButton()});
  } else {
    topToolBar()->setItems({cancelButton(), flexSpace(), titleButton(), flexSpace(), playButton(), fixSpace(),
                            shareButton(), fixSpace(), saveButton()});
  }
  bottomToolBar()->removeFromSuperview();
  applyPadConstraints();
  setPadMode(true);
}

void ZVVideoEditorViewController::applyPhoneConstraints() {
  placeScrubberContainer(bottomToolBar(), NSLayoutAttribute::Top);
}

void ZVVideoEditorViewController::applyPadConstraints() {
  placeScrubberContainer(view(), NSLayoutAttribute::Bottom);
}

void ZVVideoEditorViewController::placeScrubberContainer(const Strong<UIView>& below, NSLayoutAttribute edge) {
  // The sets of the two layouts contradict each other, so an earlier one must go.
  for (const Strong<NSLayoutConstraint>& constraint : scrubberConstraints_) view()->removeConstraint(constraint);
  scrubberConstraints_.clear();

  constexpr CGFloat containerHeight = 38;
  const auto add = [this](NSLayoutAttribute attribute, const Strong<UIView>& toItem, NSLayoutAttribute toAttribute,
                          CGFloat constant) {
    const auto constraint =
        NSLayoutConstraint::constraintWithItem_attribute_relatedBy_toItem_attribute_multiplier_constant(
            scrubberContainterView(), attribute, NSLayoutRelation::Equal, toItem, toAttribute, 1.0F, constant);
    view()->addConstraint(constraint);
    scrubberConstraints_.push_back(constraint);
  };
  add(NSLayoutAttribute::Leading, view(), NSLayoutAttribute::Leading, 0);
  add(NSLayoutAttribute::Trailing, view(), NSLayoutAttribute::Trailing, 0);
  add(NSLayoutAttribute::Bottom, below, edge, 0);
  add(NSLayoutAttribute::Height, nullptr, NSLayoutAttribute::NotAnAttribute, containerHeight);
}

void ZVVideoEditorViewController::viewDidLayoutSubviews() {
  UIViewController::viewDidLayoutSubviews();
  avPlayerLayer()->setFrame({{0, 0}, view()->bounds().size});
}

int ZVVideoEditorViewController::currentOrientation() {
  const CGSize size = view()->bounds().size;
  return size.width > size.height ? 1 : 0;
}

void ZVVideoEditorViewController::viewWillTransitionToSize_withTransitionCoordinator(
    CGSize size, UIViewControllerTransitionCoordinator& coordinator) {
  UIViewController::viewWillTransitionToSize_withTransitionCoordinator(size, coordinator);
  coordinator.animateAlongsideTransition_completion(
      [self = strongSelf()](UIViewControllerTransitionCoordinator&) {
        self->topToolBar()->setItems({});
        self->bottomToolBar()->setItems({});
        self->refreshAVRotation();
        self->applyLayoutForCurrentDevice();
      },
      [](UIViewControllerTransitionCoordinator&) {});
}

void ZVVideoEditorViewController::refreshAVRotation() {
  const CGSize size = view()->bounds().size;
  avPlayerLayer()->setFrame({{0, 0}, size});
  topToolBar()->setFrame(CGRectMake(0, 0, size.width, 60));
  bottomToolBar()->setFrame(CGRectMake(0, size.height - 44, size.width, 44));
  setThumbnailGenerator(nullptr);
  setCachedTimeStamps(nullptr);
  avTrimmer()->reloadData();
}
