#include "platform/AVFoundation/AVPlayer.h"
#include "platform/Dispatch/EssentialWork.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/Environment.h"
#include "platform/Foundation/ExtensionLaunch.h"
#include "platform/Foundation/ExtensionLink.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSExtension.h"
#include "platform/Foundation/ShownText.h"
#include "platform/Foundation/SignalWatcher.h"
#include "platform/Foundation/os_trace.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/StoreServices/SSLookupRequest.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIDevice.h"
#include "platform/UIKit/UISystemActivities.h"
#include "platform/UIKit/UIViewController.h"
#include "platform/backends/qt/EditorWindow.h"

#include <QString>
#include <QtGlobal>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>

namespace {

bool windowSystemIsConnected = false;

/// What Qt has to say is for whoever reads the trace log, not for the person at the terminal.
void traceQtMessage(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (type == QtFatalMsg && !windowSystemIsConnected) {
    // Qt would abort, after a text about its plug-ins.
    os_trace("%s", qUtf8Printable(text));
    std::fputs("zevanti: the display can’t be reached; start it on a desktop, or with --offscreen\n", stderr);
    std::_Exit(1);
  }
  if (type == QtCriticalMsg || type == QtFatalMsg) {
    os_trace_error("%s", qUtf8Printable(text));
  } else {
    os_trace("%s", qUtf8Printable(text));
  }
}

/// One extension process, from its start to its exit status. Main queue only.
class ExtensionProcess {
 public:
  ExtensionProcess(int& argc, char** argv) : argc_(argc), argv_(argv) {}
  int run();
  /// Whether at the end of `run` no work was left that still goes on.
  bool isIdle() const { return isIdle_; }

 private:
  bool makePrincipalObjects();
  void present();
  void windowClosed();
  void closeWindow();
  void hostLeft();
  void leave();
  void leaveWhenSaved(double interval);
  Strong<UIViewController> inFront() const;
  bool isAlertInFront() const;
  bool isSaving() const;
  void end(int status);
  int tidyUp(int status);

  static int fail(const std::string& what) {
    printMessage(what);
    return 1;
  }

  int& argc_;
  char** argv_;
  ExtensionLaunch launch_ = ExtensionLaunch::takeFromEnvironment();
  std::shared_ptr<ExtensionClientLink> link_;
  std::unique_ptr<EditorWindow> window_;
  Strong<NSExtensionContext> context_;
  Strong<UIViewController> controller_;
  std::string folder_;  ///< the private folder of this run, made by the host
  bool presented_ = false;
  bool closing_ = false;
  bool leaving_ = false;  ///< as soon as what is being saved is on disk
  Weak<UIViewController> inFrontAtClosing_;
  bool isIdle_ = true;
  int signal_ = 0;
};

int ExtensionProcess::run() {
  if (hasOthersRights()) return fail(OthersRightsMessage);
  if (launch_.connection < 0) return fail("this program is a part of zevanti and is started by it");
  EditorWindow::Options options;
  if (launch_.size)
    options.size = CGSize{static_cast<float>(launch_.size->width), static_cast<float>(launch_.size->height)};
  options.scale = launch_.scale;
  options.offscreen = launch_.offscreen;
  options.title = displayName(launch_.appName);
  EditorWindow::prepareEnvironment(options);  // the link has a thread
  NSErrorPtr error;
  link_ = ExtensionClientLink::create(launch_.connection,
                                      {[this](const std::string& folder) {
                                         folder_ = folder;
                                         present();
                                       },
                                       [this] { leave(); }, [this] { hostLeft(); }},
                                      &error);
  if (!link_) return fail(error->localizedDescription());
  SignalWatcher::watch({SIGINT, SIGTERM, SIGHUP}, [this](int number) {
    if (signal_ == 0) signal_ = number;
    end(128 + number);
  });

  window_ = EditorWindow::create(argc_, argv_, options);
  windowSystemIsConnected = true;
  UIDevice::currentDevice()->setUserInterfaceIdiom(launch_.pad ? UIUserInterfaceIdiom::Pad
                                                               : UIUserInterfaceIdiom::Phone);
  // As the window system found it; what the person asks to see below is about looks only.
  constexpr int softwareQuality = 10;
  const bool openGL = UIDevice::currentDevice()->_graphicsQuality() != softwareQuality;
  if (launch_.quality) UIDevice::currentDevice()->setGraphicsQuality(*launch_.quality);
  AVPlayer::setConfiguration({.audio = !launch_.offscreen, .openGL = openGL});
  AVPlayer::prewarm();  // ready by the time the host has looked at the movie
  PHPhotoLibrary::sharedPhotoLibrary().configure(launch_.library, launch_.appName);
  UISystemActivitiesPrepare(launch_.appName);
  window_->setCloseHandler([this] { windowClosed(); });

  if (!makePrincipalObjects()) return 1;
  // Loads the view, and with it asks the host for its values. It is shown when the host has something to edit.
  controller_->view();
  return tidyUp(window_->run());
}

bool ExtensionProcess::makePrincipalObjects() {
  const auto bundle = NSBundle::mainBundle();
  auto make = [&](const char* key) -> Strong<NSObject> {
    const std::string name = bundle->infoString(std::string("NSExtension.") + key);
    Class cls = NSClassFromString(name);
    auto object = cls ? cls->makeInstance() : nullptr;
    if (!object)
      fail("the property list in '" + bundle->bundlePath() + "' names no usable " + key + ": '" + name + "'");
    return object;
  };
  context_ = std::dynamic_pointer_cast<NSExtensionContext>(make("NSExtensionContextClass"));
  controller_ = std::dynamic_pointer_cast<UIViewController>(make("NSExtensionPrincipalClass"));
  if (!context_ || !controller_) return false;
  const auto offered = context_->auxiliaryVendorInterface(), understood = context_->auxiliaryHostInterface();
  if (!offered || !understood || !link_->setExportedInterface(offered)) {
    fail("'" + NSStringFromClass(context_->class_()) + "' describes no connection that the host could use");
    return false;
  }
  link_->setRemoteObjectInterface(understood);
  context_->setInputItems(link_->items());
  context_->setAuxiliaryConnection(link_);
  controller_->setExtensionContext(context_);
  return true;
}

void ExtensionProcess::present() {
  if (presented_ || !controller_) return;
  presented_ = true;
  window_->present(controller_);
  // Before anybody can tap Share, and after the first picture.
  dispatch_after(1, dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_LOW), [] { SSLookupRequest::prewarm(); });
  if (!launch_.script.empty() && UIAutomation::driver()) UIAutomation::driver()(*window_, launch_.script);
}

/// The person closes the window. What is presented may want to ask something first.
void ExtensionProcess::windowClosed() {
  const auto close = [this] { closeWindow(); };
  for (auto at = controller_ ? controller_->presentedViewController() : nullptr; at;
       at = at->presentedViewController()) {
    if (!at->windowShouldClose(close)) return;
  }
  closeWindow();
}

/// That is the editor's Cancel. The host answers by dismissing the extension.
void ExtensionProcess::closeWindow() {
  closing_ = true;
  if (leaving_) {
    end(0);  // the person does not want to wait; the saving goes on all the same
    return;
  }
  bool asked = false;
  if (controller_) {
    inFrontAtClosing_ = inFront();
    for (const auto& child : controller_->childViewControllers()) {
      if (asked || !child->respondsToSelector("doneAction")) continue;
      child->performSelector("doneAction");
      asked = true;
    }
  }
  if (!asked || !link_->isConnected()) end(0);
}

void ExtensionProcess::hostLeft() {
  // An editor on screen stays there for the person to finish; one that nobody can reach does not.
  if (!presented_) {
    end(1);
  } else if (closing_ || (launch_.offscreen && launch_.script.empty())) {
    end(0);
  }
}

/// The person is done. The window stays until all that is being saved is on disk: should that fail, the editor is still
/// there to say so, and for another try.
void ExtensionProcess::leave() {
  if (leaving_ || !window_) return;
  leaving_ = true;
  constexpr double kFirstLook = 0.002;  // seconds
  leaveWhenSaved(kFirstLook);
}

void ExtensionProcess::leaveWhenSaved(double interval) {
  const bool underWay = isSaving();
  if (controller_) controller_->view()->setUserInteractionEnabled(!underWay);
  const auto lookAgain = [this, interval, underWay] {
    if (!leaving_) return;
    constexpr double kLongest = 0.05;
    if (underWay) {
      leaveWhenSaved(std::min(2 * interval, kLongest));
    } else if (isAlertInFront()) {
      leaving_ = closing_ = false;
    } else {
      end(0);
    }
  };
  if (underWay)
    dispatch_after(interval, dispatch_get_main_queue(), lookAgain);
  else
    dispatch_async(dispatch_get_main_queue(), lookAgain);  // behind what the work had to say at its end
}

Strong<UIViewController> ExtensionProcess::inFront() const {
  Strong<UIViewController> front = controller_;
  while (front && front->presentedViewController()) front = front->presentedViewController();
  return front;
}

/// Whether the editor itself has work under way that may fail. What an activity does is over when the window goes.
bool ExtensionProcess::isSaving() const {
  return PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves() ||
         (EssentialWork::isUnderWay() && inFront() == controller_);
}

/// Whether the person is being told something that was not there when they closed the window.
bool ExtensionProcess::isAlertInFront() const {
  const auto alert = std::dynamic_pointer_cast<UIAlertController>(inFront());
  return alert && alert != inFrontAtClosing_.lock();
}

void ExtensionProcess::end(int status) {
  leaving_ = false;
  if (!window_) return;
  window_->dismiss();
  window_->quit(status);
}

int ExtensionProcess::tidyUp(int status) {
  window_->dismiss();
  controller_ = nullptr;
  context_ = nullptr;
  // What the person has saved is theirs only when it is on disk, however long that takes.
  constexpr double kForever = std::numeric_limits<float>::max();
  // What nobody needs any more may hang: a catalogue on a file system that does not answer, a bus.
  constexpr double kPatience = 5;  // seconds
  do {
    dispatch_main::waitForEssentialWork(kForever);
    isIdle_ = dispatch_main::waitForBackgroundWork(kPatience);
  } while (EssentialWork::isUnderWay());

  if (!link_->isConnected() && !folder_.empty()) {
    std::error_code error;
    std::filesystem::remove(folder_, error);  // when it is empty
  }
  if (signal_ != 0) return 128 + signal_;
  if (status == 0 && PHPhotoLibrary::sharedPhotoLibrary().latestSaveFailed()) return 1;  // the library has said why
  return status;
}

}  // namespace

int NSExtensionMain(int argc, char* argv[]) {
  qInstallMessageHandler(traceQtMessage);
  // A reader of the output or of the trace log who has gone is no reason to lose a save.
  std::signal(SIGPIPE, SIG_IGN);
  // Never destroyed: threads of the player's libraries may still use the fonts and the event loop as they wind down.
  auto& process = *new ExtensionProcess(argc, argv);
  const int status = process.run();
  if (!process.isIdle()) {
    os_trace_error("leaving while work is going on that does not come to an end");
    std::fflush(nullptr);
    std::_Exit(status);  // static objects may be in use
  }
  return status;
}
