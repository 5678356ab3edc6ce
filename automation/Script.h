#pragma once

#include <optional>
#include <string>
#include <vector>

/// One step of a script.
struct ScriptStep {
  enum class Kind {
    Wait,
    Tap,
    Drag,
    Key,
    Shake,
    Resize,
    Share,
    Activity,
    Alert,
    Form,
    Close,
    Time,
    State,
    Dump,
    Screenshot
  };

  int line = 0;  ///< in the file, from 1
  Kind kind = Kind::Wait;
  /// What is waited for, tapped or dragged, the key, the activity, the alert's button, or the picture's path.
  std::string name;
  /// Form: what the field is to be. Waiting for a text: a part of it; for a file: its path.
  std::string value;
  /// Alert: there may be none.
  bool optional = false;
  /// Wait: how long at most. Drag: where to.
  double seconds = 0;
  /// Resize: points.
  int width = 0, height = 0;
};

/// The steps of a script file. Blank lines and what follows a "#" are left out; a name with blanks may stand in double
/// quotes, in which \" and \\ are a quote and a backslash.
struct Script {
  /// How long `wait` waits when it is not told.
  static constexpr double kDefaultWait = 10;

  std::vector<ScriptStep> steps;
  /// "script line N: why": the first line that makes no sense. Then there are no steps.
  std::optional<std::string> error;

  static Script parse(const std::string& text);
};

/// "script line N: why"
std::string scriptMessage(int line, const std::string& why);
