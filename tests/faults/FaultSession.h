#pragma once

#include "tests/end_to_end/Session.h"

#include <filesystem>
#include <string>
#include <vector>

/// A session with a fault in the middle: somebody comes to a point, the disk changes for the worse, a save fails, the
/// disk gets well again, and the next save is to succeed. The script and the test wait for each other by files.
class FaultSession : public Session {
 public:
  explicit FaultSession(const std::string& recording);

  /// `before` leads to the point, `first` is to fail, `second` is another try.
  void start(const std::string& before, const std::string& first, const std::string& second);

  /// Has the editor's calls that write below the library and the temporary directory fail, from one on (0: none), while
  /// the first try goes on; see the injector, and for more of its settings.
  void injectFault(int number, int error, const std::vector<std::string>& more = {});
  /// The calls that counted, a line each.
  std::vector<std::string> injected() const;
  static bool canInject();

  /// The editor's process, which the host has started; 0 when there is none.
  pid_t editor() const;

  /// Waits until the script has come to the point. It goes on with `goOn`.
  bool reachPoint();
  void goOn();
  /// Waits until the first try is over; false when that has ended the editor, as a save does that succeeds. The script
  /// goes on with `tryAgain`.
  bool reachFailure();
  void tryAgain();

  /// As printed after the first try.
  std::string state() const;
  /// What the person reads then; empty without an alert.
  std::string message() const;

  const std::filesystem::path& movie() const { return movie_; }
  /// The person's file is byte for byte as it was.
  void expectMovieUntouched() const;
  /// No file is half there: what is in the library are whole movies of `seconds`, at least `least`; in the temporary
  /// directory nothing but the handed-over movie and a trimmed copy.
  void expectWholeFilesOnly(double seconds, std::size_t least) const;
  void expectNothingLeft() const;
  std::size_t wholeMoviesInLibrary(double seconds) const;

  std::filesystem::path goOnFile() const { return folder() / "go-on"; }

 private:
  std::filesystem::path movie_;
  std::string content_;
};
