#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace publishing {

/// The addresses of upload sessions that have begun, so that an upload goes on where it stopped when the program is
/// started again: one file of mode 0600 for each movie in `FOLDER/uploads`, with what the person said about it. Whoever
/// has a session's address can upload with it, so it never goes to a log. Any thread.
class KeptSessions {
 public:
  /// What a session belongs to. It is of use only while all of it is the same.
  struct Upload {
    std::string file;     ///< UploadFile::identify(); empty: nothing is kept
    std::string details;  ///< VideoDetails::json()
    std::string client;   ///< the client identifier
    std::string server;   ///< the address at which sessions start
  };

  explicit KeptSessions(const std::string& stateFolder) : folder_(stateFolder + "/uploads") {}

  /// The session's address; nothing when there is none, or it is more than six days old: the service forgets them after
  /// a week. Removes all that are too old.
  std::optional<std::string> find(const Upload& upload) const;
  /// VideoDetails::json() of the upload of a movie that has begun; nothing when none has.
  std::optional<std::string> findDetails(const std::string& file) const;
  /// Whether any upload may be waiting to go on.
  bool areThere() const;
  void keep(const Upload& upload, const std::string& address) const;
  void drop(const Upload& upload) const;

 private:
  std::string pathOf(const std::string& file) const { return folder_ + "/" + file + ".json"; }
  void sweep() const;

  std::string folder_;
};

}  // namespace publishing
