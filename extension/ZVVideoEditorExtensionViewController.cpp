#include "extension/ZVVideoEditorExtensionViewController.h"

#include "extension/ZVVideoEditorExtensionConstants.h"
#include "platform/Dispatch/MainQueueReference.h"
#include "platform/Foundation/os_trace.h"

#include <mutex>
#include <optional>

ZV_REGISTER_CLASS(ZVVideoEditorExtensionViewController, "ZVVideoEditorExtensionViewController", UIViewController, {})

namespace {

/// The three values while they arrive, shared by all load callbacks of one read.
struct InputSlots {
  std::mutex mutex;
  std::optional<std::string> applicationName;
  std::optional<NSURL> movieURL;
  std::optional<std::string> bundleIdentifier;
  bool completed = false;

  /// Whether this value completes the three. A late fourth value never does so again: there is one editor.
  bool store(const std::string& title, const std::string& value) {
    if (title == ZVVideoEditorExtensionAppNameKey) {
      applicationName = value;
    } else if (title == ZVVideoEditorExtensionMoviePathKey) {
      movieURL = NSURL::fileURLWithPath(value);
    } else if (title == ZVVideoEditorExtensionBundleIdentifierKey) {
      bundleIdentifier = value;
    }
    if (completed || !applicationName || !movieURL || !bundleIdentifier) return false;
    completed = true;
    return true;
  }

  bool isComplete() {
    const std::lock_guard lock(mutex);
    return completed;
  }
};

}  // namespace

void ZVVideoEditorExtensionViewController::viewDidLoad() {
  UIViewController::viewDidLoad();
  os_trace("ZVVideoEditorExtensionViewController:viewDidLoad");
  const auto self =
      MainQueueReference(std::static_pointer_cast<ZVVideoEditorExtensionViewController>(shared_from_this()));
  inputItemsFromClientWithCompletionHandler(
      [self](const std::string& bundleIdentifier, const std::string& applicationName, const NSURL& movieURL) {
        dispatch_async(dispatch_get_main_queue(), [self, bundleIdentifier, applicationName, movieURL] {
          os_trace("loaded input items");
          const auto editor = ZVVideoEditorViewController::initWithBundleIdentifier_URL_applicationName(
              bundleIdentifier, movieURL, applicationName);
          self->setVideoEditorViewController(editor);
          editor->setDelegate(std::static_pointer_cast<ZVVideoEditorExtensionViewController>(self->shared_from_this()));
          self->addChildViewController(editor);
          self->view()->addSubview(editor->view());
          editor->didMoveToParentViewController(std::static_pointer_cast<UIViewController>(self->shared_from_this()));
        });
      });
}

void ZVVideoEditorExtensionViewController::inputItemsFromClientWithCompletionHandler(InputCompletion completion) {
  os_trace("ZVVideoEditorExtensionViewController:inputItemsFromClientWithCompletionHandler");
  const auto slots = std::make_shared<InputSlots>();
  for (const Strong<NSExtensionItem>& item : extensionContext()->inputItems()) {
    if (slots->isComplete()) break;
    if (item->attachments().empty()) continue;
    const Strong<NSItemProvider>& provider = item->attachments().front();
    if (!provider->hasItemConformingToTypeIdentifier(kUTTypeData)) continue;
    provider->loadItemForTypeIdentifier_options_completionHandler(
        kUTTypeData, nullptr,
        [slots, completion, title = item->attributedTitle()](const std::string& value, const NSErrorPtr& error) {
          if (error) {
            os_trace_error("Error loading input item for type");
            return;
          }
          std::unique_lock lock(slots->mutex);
          if (!slots->store(title, value)) return;
          const std::string bundleIdentifier = *slots->bundleIdentifier;
          const std::string applicationName = *slots->applicationName;
          const NSURL movieURL = *slots->movieURL;
          lock.unlock();
          completion(bundleIdentifier, applicationName, movieURL);
        });
  }
}

void ZVVideoEditorExtensionViewController::videoEditor_didFinishWithActivityTypes(
    const Strong<ZVVideoEditorViewController>&, const ActivityTypeList& activityTypes) {
  os_trace("ZVVideoEditorExtensionViewController:videoEditorViewDidFinish:");
  const auto context = std::static_pointer_cast<ZVVideoEditorExtensionContext>(extensionContext());
  context->extensionObjectProxy()->extensionDidFinishWithActivityTypes(*activityTypes);
}
