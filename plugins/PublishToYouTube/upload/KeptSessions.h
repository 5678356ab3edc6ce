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

  struct Session {
    std::string address;
    std::int64_t begun = 0;  ///< seconds since 1970
  };

  explicit KeptSessions(const std::string& stateFolder) : folder_(stateFolder + "/uploads") {}

  /// The session; nothing when there is none, or it is more than six days old: the service forgets them after a week.
  /// Removes all that are too old.
  std::optional<Session> find(const Upload& upload) const;
  /// An upload that has begun and can go on.
  struct Kept {
    std::string details;                         ///< VideoDetails::json()
    std::int64_t sentBytes = 0, totalBytes = 0;  ///< as far as was known when it stopped
  };
  /// What has begun of a movie, whatever `upload.details` says; nothing when that could not go on.
  std::optional<Kept> findMovie(const Upload& upload) const;
  /// Whether any upload may be waiting to go on.
  bool areThere() const;
  void keep(const Upload& upload, const Session& session, std::int64_t sentBytes, std::int64_t totalBytes) const;
  void drop(const Upload& upload) const;

 private:
  struct Entry;
  std::string pathOf(const std::string& file) const { return folder_ + "/" + file + ".json"; }
  std::optional<Entry> read(const Upload& upload) const;
  void sweep() const;

  std::string folder_;
};

}  // namespace publishing
