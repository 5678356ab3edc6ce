#pragma once

#include "FaultPlan.h"
#include "tests/end_to_end/Session.h"

#include <filesystem>
#include <string>
#include <vector>

/// A session with a fault in the middle: somebody comes to a point, the disk changes for the worse, a save fails, the
/// disk gets well again, and the next save is to succeed. The script and the test wait for each other by files.
class FaultSession : public Session {
 public:
  explicit FaultSession(const std::string& recording);

  /// Starts, and waits until the script has come to the point. `before` leads there, `first` is to fail, `answers` are
  /// to what is said then, `second` is another try.
  void start(const std::string& before, const std::string& first, const std::string& second,
             const std::string& answers = "answer OK\n");

  /// Has calls that write below the library, the temporary directory, `copies` and the desktop's state folder fail,
  /// while the first try goes on. `more`: of the injector's settings. `program`: whose calls.
  void injectFault(const Fault& fault, const std::vector<std::string>& more = {},
                   const std::string& program = "ZVVideoEditorExtension");
  /// The calls that counted, a line each.
  std::vector<std::string> injected() const { return plan_.calls(); }
  std::filesystem::path copies() const { return folder() / "copies"; }

  /// The editor's process, which the host has started; 0 when there is none.
  pid_t editor() const;

  /// The script goes on from the point.
  void goOn();
  bool hasEnded() const;
  /// Waits until the first try is over; false when that has ended the editor, as a save does that succeeds. The script
  /// goes on with `tryAgain`.
  bool reachFailure();
  /// Goes on, and the editor stays.
  void expectFailure();
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
  /// Of files that the editor has open and that nobody else can find.
  std::uint64_t bytesWithoutName() const;

  std::filesystem::path goOnFile() const { return folder() / "go-on"; }

 private:
  std::filesystem::path movie_;
  std::string content_;
  FaultPlan plan_;
};
