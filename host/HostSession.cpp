#include "host/HostSession.h"

#include "extension/ZVVideoEditorExtensionConstants.h"
#include "host/ProgramFolder.h"
#include "platform/Foundation/Environment.h"
#include "platform/Foundation/ShownText.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace {

/// Milliseconds after a signal in which an editor that saves nothing has ended.
constexpr int kPatience = 1000;

bool hasDisplay() {
  const auto names = {"WAYLAND_DISPLAY", "DISPLAY", "QT_QPA_PLATFORM"};
  return std::any_of(names.begin(), names.end(), [](const char* name) { return !environmentVariable(name).empty(); });
}

}  // namespace

int HostSession::run() {
  if (start()) {
    while (!status_) wait();
  }
  probe_.kill();
  extension_.kill();
  return status_.value_or(1);
}

bool HostSession::start() {
  std::string problem;
  movie_ = MovieFile::open(options_.movie, problem);
  if (!movie_) {
    fail("can't open '" + options_.movie + "': " + problem);
    return false;
  }
  for (const std::string& path : {options_.movie, options_.launch.library}) {
    if (path.empty() || !TemporaryDirectory::contains(path)) continue;
    fail("'" + path + "' lies in the folder for temporary files, which is emptied whenever the editor starts; " +
         (path == options_.movie ? "move it elsewhere, then open it" : "choose another folder for saved movies"));
    return false;
  }
  if (!options_.launch.offscreen && !hasDisplay()) {
    fail("there is no display to show the editor on; start it on a desktop, or with --offscreen");
    return false;
  }
  sigset_t handled;
  sigemptyset(&handled);
  for (int number : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&handled, number);
  sigprocmask(SIG_BLOCK, &handled, nullptr);
  // A reader that has gone and a limit on files are errors like others, for the extension too.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  signals_.reset(signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK));

  // Both at once: the editor takes the longer to start.
  const std::string folder = programFolder();
  if (!startExtension(folder)) return false;
  int pipe[2];
  int failure = pipe2(pipe, O_CLOEXEC) == 0 ? 0 : errno;
  if (failure == 0) {
    probeOutput_.reset(pipe[0]);
    FileDescriptor writing(pipe[1]);
    ChildProcess::Setup setup;
    setup.program = folder + "/zevanti-probe";
    setup.arguments = {"--", options_.movie};
    setup.standardOutput = writing.get();
    failure = probe_.start(setup);
  }
  if (failure != 0) fail("can't start '" + folder + "/zevanti-probe': " + std::strerror(failure));
  return failure == 0;
}

bool HostSession::startExtension(const std::string& folder) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) {
    fail(std::string("can't make the connection to the editor: ") + std::strerror(errno));
    return false;
  }
  FileDescriptor extensionEnd(ends[1]);
  NSErrorPtr error;
  std::vector<ExtensionHostLink::Item> items;
  for (const char* title : {ZVVideoEditorExtensionMoviePathKey, ZVVideoEditorExtensionAppNameKey,
                            ZVVideoEditorExtensionBundleIdentifierKey})
    items.push_back({title, {kUTTypeData}});
  link_ = ExtensionHostLink::create(
      ends[0], std::move(items), {ZVExtensionDidFinishSelector},
      {[this](std::size_t item, const std::string&, auto answer) { loadRequested(item, std::move(answer)); },
       [this](const std::string& selector, const auto& argument) { messageReceived(selector, argument); }},
      &error);
  if (!link_) {
    fail(error->localizedDescription());
    return false;
  }
  ExtensionLaunch launch = options_.launch;
  launch.connection = ChildProcess::inheritedDescriptor;
  ChildProcess::Setup setup;
  setup.program = folder + "/ZVVideoEditorExtension.appex/ZVVideoEditorExtension";
  setup.variables = launch.environment();
  setup.inherited = extensionEnd.get();
  setup.ownGroup = true;  // the terminal's signals come through this program, once
  if (int failure = extension_.start(setup)) {
    fail("can't start '" + setup.program + "': " + std::strerror(failure));
    return false;
  }
  return true;
}

void HostSession::wait() {
  pollfd ready[2] = {{signals_.get(), POLLIN, 0}, {link_->descriptor(), link_->events(), 0}};
  const bool isImpatient = signal_ != 0 && !toldOfWaiting_;
  if (poll(ready, 2, isImpatient ? kPatience : link_->timeout()) < 0 && errno != EINTR) {
    fail(std::string("can't wait for the editor: ") + std::strerror(errno));
    return;
  }
  // Messages first: the last of a program that has ended still count.
  link_->process();
  if (!status_) handleSignals();
  const auto waited = std::chrono::steady_clock::now() - signalled_;
  if (!status_ && isImpatient && waited >= std::chrono::milliseconds(kPatience)) {
    toldOfWaiting_ = true;
    printMessage("the editor finishes what it is saving; press Ctrl+C again to end it without");
  }
}

void HostSession::handleSignals() {
  signalfd_siginfo signal;
  bool childEnded = false;
  while (read(signals_.get(), &signal, sizeof signal) == sizeof signal) {
    int number = static_cast<int>(signal.ssi_signo);
    if (number == SIGCHLD) {
      childEnded = true;
    } else if (handedOver_.empty() || signal_ != 0) {
      // Nothing to tidy yet, or the person insists.
      end(128 + (signal_ != 0 ? signal_ : number));
    } else {
      signal_ = number;
      signalled_ = std::chrono::steady_clock::now();
      extension_.signal(number);
    }
  }
  if (childEnded && !status_) reapChildren();
}

void HostSession::reapChildren() {
  if (auto status = probe_.reap()) probeEnded(*status);
  if (status_) return;
  if (auto status = extension_.reap()) extensionEnded(*status);
}

void HostSession::probeEnded(int status) {
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    movieIsGood_ = true;
    handOverWhenReady();
    return;
  }
  std::string reason(1024, '\0');
  ssize_t length = WIFEXITED(status) ? read(probeOutput_.get(), reason.data(), reason.size()) : 0;
  reason.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  reason.erase(std::min(reason.find('\n'), reason.size()));
  fail("'" + options_.movie + "' " + (reason.empty() ? "is damaged in a way that can't be read" : reason));
}

void HostSession::extensionEnded(int status) {
  link_->process();
  if (signal_ != 0) {
    end(128 + signal_);
  } else if (WIFEXITED(status) && WEXITSTATUS(status) == 0 && outputError_ != 0) {
    // Only now: what the person has saved is on disk by the time the editor ends.
    fail(std::string("can't write to standard output what was done: ") + std::strerror(outputError_));
  } else if (WIFEXITED(status)) {
    end(WEXITSTATUS(status));
  } else {
    fail(std::string("the editor has ended unexpectedly (") + strsignal(WTERMSIG(status)) + "); your movie '" +
         options_.movie + "' is as it was");
  }
}

void HostSession::loadRequested(std::size_t item, ExtensionHostLink::Answer answer) {
  requests_.emplace_back(item, std::move(answer));
  handOverWhenReady();
}

void HostSession::messageReceived(const std::string& selector, const std::vector<std::string>& argument) {
  if (selector != ZVExtensionDidFinishSelector) return;
  // An editor that stays, because a save has failed, tells all of it once more at its end.
  std::string lines;
  for (; activityTypesPrinted_ < argument.size(); ++activityTypesPrinted_)
    lines += printableText(argument[activityTypesPrinted_]) + "\n";
  if (std::fputs(lines.c_str(), stdout) < 0 || std::fflush(stdout) != 0) outputError_ = errno;
  link_->dismiss();
}

void HostSession::handOverWhenReady() {
  if (!movieIsGood_ || requests_.empty()) return;
  if (handedOver_.empty()) {
    NSErrorPtr error;
    directory_ = TemporaryDirectory::open(&error);
    if (directory_) {
      handedOver_ = movie_->handOver(
          directory_->runFolder(), [this](auto done, auto total) { return copyProgressed(done, total); }, &error);
      if (percentShown_ > 0) std::fputs("\r\033[K", stderr);
    }
    if (handedOver_.empty()) {
      // A signal during the copy is looked at by the loop; the other requests are not to start it again.
      movieIsGood_ = false;
      if (!signalIsWaiting()) fail(error->localizedDescription());
      directory_.reset();
      return;
    }
    link_->begin(directory_->runFolder(), directory_->lock());
  }
  for (auto& [item, answer] : std::exchange(requests_, {}))
    answer(item == 0 ? handedOver_ : item == 1 ? options_.appName : options_.bundleIdentifier);
}

bool HostSession::copyProgressed(std::int64_t done, std::int64_t total) {
  static const bool terminal = isatty(STDERR_FILENO) == 1;
  const int percent = total > 0 ? static_cast<int>(done * 100 / total) : 0;
  if (terminal && percent != percentShown_) {
    std::fprintf(stderr, "\rCopying the movie: %d %%", percent);
    std::fflush(stderr);
    percentShown_ = percent;
  }
  return !signalIsWaiting();
}

bool HostSession::signalIsWaiting() const {
  sigset_t waiting;
  sigpending(&waiting);
  return sigismember(&waiting, SIGINT) || sigismember(&waiting, SIGTERM) || sigismember(&waiting, SIGHUP);
}

void HostSession::fail(const std::string& what) {
  printMessage(what);
  end(1);
}

void HostSession::end(int status) {
  extension_.kill();
  probe_.kill();
  directory_.reset();
  if (!status_) status_ = status;
}
