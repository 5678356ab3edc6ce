#pragma once

#include "tests/common/Files.h"

#include <sys/types.h>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// One run of the real `zevanti` program, offscreen, with a cache directory, a library and a copy of a recording of its
/// own. Everything it leaves behind is in one scratch folder, which goes with this object.
class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// A copy of a test recording, for the person's file of this run: its path.
  std::filesystem::path copyOf(const std::string& recording, const std::string& name = "");

  /// Options before the movie; `--offscreen`, `--library` and `--size` have defaults.
  std::vector<std::string> options;
  std::vector<std::string> environment;  ///< "NAME=value"
  std::filesystem::path cache;           ///< XDG_CACHE_HOME
  /// Runs as a user without privileges, where this one has any: who may write everywhere is refused nothing.
  bool unprivileged = false;
  /// What standard output is; read it with `output` only when it is a file.
  enum class StandardOutput { File, PipeWithoutReader, Full, Closed } standardOutput = StandardOutput::File;

  /// Starts the program with a script. `movie` may be empty: then no movie is named.
  void start(const std::filesystem::path& movie, const std::string& script);
  /// Waits until the text has been printed to standard output.
  bool waitForOutput(const std::string& text, double seconds = 30);
  /// Waits for the end and returns the exit status, 128 + N after signal N; kills the program, and fails the test, when
  /// it takes longer than two minutes.
  int wait();
  int run(const std::filesystem::path& movie, const std::string& script);
  void signal(int number);
  pid_t process() const { return pid_; }  ///< the program's, which leads a process group; 0 when it has ended

  std::string output() const;  ///< of standard output
  std::string errors() const;  ///< of standard error, the trace log included
  /// The lines of JSON that `state` printed, in order.
  std::vector<std::string> states() const;

  const std::filesystem::path& folder() const { return folder_; }
  std::filesystem::path library() const { return folder_ / "library"; }
  /// Files in the library, hidden ones included, sorted.
  std::vector<std::filesystem::path> saved() const;
  /// Everything in the program's temporary directory, at any depth.
  std::vector<std::filesystem::path> leftovers() const;

 private:
  int openStandardOutput() const;
  std::filesystem::path folder_;
  pid_t pid_ = 0;
};

/// The text of one member of a line of JSON: `member(state, "playhead")` is "12.5", of "flags" is "{...}".
std::string member(const std::string& json, const std::string& key);
double number(const std::string& json, const std::string& key);

bool waitUntil(double seconds, const std::function<bool()>& reached);
