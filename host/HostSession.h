#pragma once

#include "host/ChildProcess.h"
#include "host/MovieFile.h"
#include "host/Options.h"
#include "host/TemporaryDirectory.h"
#include "platform/Foundation/ExtensionLink.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// One run of the editor: starts the extension and, at the same time, the examination of the movie; hands the movie
/// over once that says yes; prints what the extension reports; tidies up when it has ended.
///
/// Nothing is made on disk before the movie is known to be one, and the person's own file is only ever read.
class HostSession {
 public:
  explicit HostSession(const Options& options) : options_(options) {}
  /// Runs to the end and returns the program's exit status. Failures are told on standard error.
  int run();

 private:
  bool start();
  bool startExtension(const std::string& folder);
  void wait();
  void handleSignals();
  void reapChildren();
  void probeEnded(int status);
  void extensionEnded(int status);

  void loadRequested(std::size_t item, ExtensionHostLink::Answer answer);
  void messageReceived(const std::string& selector, const std::vector<std::string>& argument);
  void handOverWhenReady();
  bool copyProgressed(std::int64_t done, std::int64_t total);
  bool signalIsWaiting() const;

  /// Tells the person, ends the extension, and makes this the end of the run.
  void fail(const std::string& what);
  void end(int status);

  const Options& options_;
  std::optional<MovieFile> movie_;
  FileDescriptor signals_, probeOutput_;
  std::unique_ptr<TemporaryDirectory> directory_;  // goes after the extension has ended
  ChildProcess extension_, probe_;
  std::unique_ptr<ExtensionHostLink> link_;
  std::vector<std::pair<std::size_t, ExtensionHostLink::Answer>> requests_;
  bool movieIsGood_ = false;
  int percentShown_ = 0;    ///< the copy's progress, on a terminal
  std::string handedOver_;  ///< the path of the private movie; empty before
  std::size_t activityTypesPrinted_ = 0;
  int outputError_ = 0;  ///< why the report could not be printed
  int signal_ = 0;       ///< the first signal that asked for the end
  std::chrono::steady_clock::time_point signalled_;
  bool toldOfWaiting_ = false;
  std::optional<int> status_;
};
