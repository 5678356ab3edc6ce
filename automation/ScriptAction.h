#pragma once

#include <string>

/// A step that is being carried out. It is asked again and again, some milliseconds apart, until it has an answer.
class ScriptAction {
 public:
  struct Answer {
    bool done = false;
    std::string failure;  ///< why it can't be done; empty otherwise
  };
  static Answer pending() { return {}; }
  static Answer done() { return {true, ""}; }
  static Answer failed(std::string why) { return {true, std::move(why)}; }

  virtual ~ScriptAction() = default;
  /// Main queue.
  virtual Answer tick() = 0;
};
