#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/UIKit/UIActivity.h"

#include <cstdint>
#include <functional>
#include <string>

class FileDescriptor;
class UIAlertController;

/// What the desktop's activities have in common. Main queue only.
class SystemActivity : public UIActivity {
  ZV_OBJECT(SystemActivity)
 public:
  SystemActivity() = default;

  bool canPerformWithActivityItems(const std::vector<UIActivityItem>& items) override;
  void prepareWithActivityItems(const std::vector<UIActivityItem>& items) override;
  UIActivityCategory activityCategory() const override { return UIActivityCategory::Share; }
  Strong<UIImage> activityImage() const override;

 protected:
  /// What is shared: the first text, the second, which is the link, and the file. What is not among the items is empty.
  struct Items {
    std::string text, link;
    std::string movie;  ///< path
    /// Text and link as one text.
    std::string message() const;
  };

  /// Whether it can be carried out on this desktop, now.
  virtual bool isPossible(const Items& items) const { return !items.movie.empty(); }
  virtual std::string symbolName() const { return {}; }

  const Items& items() const { return items_; }
  /// This object, for as long as something is under way.
  template <class T>
  Strong<T> strongSelf(T*) {
    return std::static_pointer_cast<T>(shared_from_this());
  }
  /// Calls `then` with the movie's path in the photo library, where it is saved first when it isn't. When it can't be
  /// saved, tells the person, and the activity has finished.
  void locateMovie(std::function<void(const std::string& path)> then);
  /// What a person is told when a copy of `movie` in `folder`, which was to leave `reserve` bytes there, has failed.
  /// Any thread.
  static std::string whyNotCopied(const NSErrorPtr& error, const std::string& movie, const std::string& folder,
                                  std::int64_t reserve);
  /// Opens the file at `path` for reading, in the background, and calls `then` with it. When it can't be opened, tells
  /// the person why under `title`, and the activity has finished.
  void openMovie(const std::string& path, const std::string& title,
                 std::function<void(const FileDescriptor& file)> then);
  /// Shows an alert whose answers carry on or finish. Where it can't be shown the activity has finished, not completed.
  void ask(const Strong<UIAlertController>& alert);
  /// Tells the person and then finishes, not completed.
  void fail(const std::string& title, const std::string& message);

 private:
  static Items read(const std::vector<UIActivityItem>& items);

  Items items_;
};

/// Bytes that are to be left on a disk. Main queue.
std::int64_t& systemActivityRequiredFreeSpace();

/// The subject of mails; empty when none was given.
std::string& systemActivitySubject();
