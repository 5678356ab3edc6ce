#pragma once

#include <memory>
#include <string>

namespace publishing {

/// The desktop's store for secrets. Its functions wait, for as long as the person needs to unlock the store, but not
/// for a session bus that does not answer: never call them on the main thread. Objects may be shared between threads.
class SecretService {
 public:
  enum class Outcome {
    Done,
    NoSecret,     ///< nothing is stored for that client
    Unavailable,  ///< this session has no such store
    Refused       ///< there is one, but it did not do it: the person didn't unlock it, or it failed
  };

  SecretService();
  ~SecretService();
  SecretService(const SecretService&) = delete;
  SecretService& operator=(const SecretService&) = delete;

  /// The secret for a client identifier at a server (the origin of its address).
  Outcome lookUp(const std::string& client, const std::string& server, std::string* secret);
  /// Whether there is a secret, be it locked; never waits for the person.
  Outcome find(const std::string& client, const std::string& server);
  Outcome store(const std::string& client, const std::string& server, const std::string& secret);
  Outcome clear(const std::string& client, const std::string& server);
  /// Ends a look-up that waits, from any thread; that and all later ones give `Refused`.
  void cancelLookUps();
  /// Ends everything that waits, and all that comes, in the same way.
  void cancelAll();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace publishing
