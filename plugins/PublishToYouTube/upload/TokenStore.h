#pragma once

#include "plugins/PublishToYouTube/upload/Tokens.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace publishing {

class SecretService;

/// Keeps the tokens of one client at one server from one use to the next: in the desktop's store for secrets where
/// there is one, else in a file of mode 0600. A store that is there but stays locked gets no file beside it: the
/// person signs in again next time. Main queue only; the work is done elsewhere, in the order of the calls.
class TokenStore {
 public:
  struct Place {
    std::string client, server;  ///< client identifier; origin of the server's address
    std::string file;            ///< where tokens go without a store for secrets
    bool secretService = true;   ///< false: always the file
  };

  explicit TokenStore(Place place);
  /// Ends a load or find that waits. What is to be saved or cleared still is, unless the desktop's store takes more
  /// than ten seconds for that from now on.
  ~TokenStore();
  TokenStore(const TokenStore&) = delete;
  TokenStore& operator=(const TokenStore&) = delete;

  /// The handler comes on the main queue, with nothing when there are no tokens.
  void load(std::function<void(std::optional<Tokens>)> handler);
  /// Whether there are tokens, in a store that may be locked: nobody is asked to unlock it. The handler comes on the
  /// main queue.
  void find(std::function<void(bool)> handler);
  void save(const Tokens& tokens);
  void clear();

  /// Where tokens go below a folder for sessions, for `Place::file`.
  static std::string fileIn(const std::string& stateFolder);

 private:
  Place place_;
  std::shared_ptr<SecretService> service_;
};

}  // namespace publishing
