#pragma once

#include "editor/ZVVideoEditorViewController.h"
#include "editor/ZVVideoEditorViewControllerDelegate.h"
#include "extension/ZVVideoEditorExtensionContext.h"
#include "extension/ZVVideoEditorExtensionProtocols.h"
#include "platform/Foundation/NSURL.h"
#include "platform/UIKit/UIViewController.h"

#include <functional>
#include <string>

/// The extension's principal view controller: reads the host's three values, shows the one editor and reports to the
/// host what was done. Named by the bundle's property list. Main queue only, unless stated.
class ZVVideoEditorExtensionViewController : public UIViewController,
                                             public ZVVideoEditorViewControllerDelegate,
                                             public ZVVideoEditorExtensionProtocol {
  ZV_OBJECT(ZVVideoEditorExtensionViewController)
 public:
  /// (bundle identifier, application name, movie URL)
  using InputCompletion = std::function<void(const std::string&, const std::string&, const NSURL&)>;

  void viewDidLoad() override;

  /// Asks the extension context's items for their values. `completion` is called once, when all three are known, on
  /// whatever queue the last one arrived on; never, when one is missing or fails to load.
  void inputItemsFromClientWithCompletionHandler(InputCompletion completion);

  void videoEditor_didFinishWithActivityTypes(const Strong<ZVVideoEditorViewController>& editor,
                                              const ActivityTypeList& activityTypes) override;

  /// Null until the input has been read.
  const Strong<ZVVideoEditorViewController>& videoEditorViewController() const { return videoEditorViewController_; }
  void setVideoEditorViewController(const Strong<ZVVideoEditorViewController>& editor) {
    videoEditorViewController_ = editor;
  }

 private:
  Strong<ZVVideoEditorViewController> videoEditorViewController_;
};
