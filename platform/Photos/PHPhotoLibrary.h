#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSURL.h"

#include <cstdint>
#include <functional>
#include <string>

/// The person's library of movies: a folder. A save writes a hidden file in it (shared blocks where the file system
/// can, else a copy), makes it durable and gives it its name without ever replacing anything. The source is opened when
/// the request is made, so it may be removed right afterwards.
class PHPhotoLibrary {
 public:
  static PHPhotoLibrary& sharedPhotoLibrary();

  /// Runs `changeBlock` on a queue of the library, and when its requests have been carried out calls `completion` on
  /// such a queue: whether all was saved, and the first error. A movie of which `locateOrSaveMovieAtPath` has made a
  /// copy is not saved a second time: that copy is the saved movie from then on, if it still is as it was.
  void performChanges_completionHandler(std::function<void()> changeBlock,
                                        std::function<void(bool success, NSErrorPtr error)> completion);

  // For activities that hand a movie to other programs, which need a file that stays.

  /// Finds the movie at `path` among those in the library, or saves it there, and calls `completion` on a queue of the
  /// library with the path it has there, or with an error. `requiredFreeSpace` bytes are to be left on the library's
  /// disk by a save; where they would not be it fails with ENOSPC and writes nothing. One that changes meanwhile fails
  /// with ESTALE. The file is opened before the call returns. Any thread.
  void locateOrSaveMovieAtPath_requiredFreeSpace_completionHandler(
      const std::string& path, std::int64_t requiredFreeSpace,
      std::function<void(const std::string& savedPath, NSErrorPtr error)> completion);
  /// The file name that a save would give the movie at `path`, with its extension.
  std::string fileNameForMovieAtPath(const std::string& path) const;

  // For the process that runs the editor.

  /// The folder, and the name (without extension) given to movies whose own file name is a private one.
  /// Call before the first save. By default the folder "Zevanti" in the user's video directory.
  void configure(const std::string& folder, const std::string& nameForPrivateFiles);
  const std::string& folder() const;
  bool hasPendingSaves() const;  ///< any thread
  int failedSaveCount() const;   ///< any thread
  /// Whether the save that ended last has failed. Any thread.
  bool latestSaveFailed() const;
  /// How far the save that is under way has come, 0 to 1. Any thread.
  float progress() const;
};

/// One change: a new movie. Only inside a change block.
class PHAssetChangeRequest {
 public:
  /// `hasChanged` (may be null) is asked once the file has been opened: whether it is no longer the movie that the
  /// person has seen, which is then not saved. What changes later is noticed as well.
  static void creationRequestForAssetFromVideoAtFileURL(const NSURL& url,
                                                        const std::function<bool()>& hasChanged = nullptr);
};

/// Saves the movie at `path` to the library in the background and calls `completion` (may be null) on a queue of the
/// library: null for the error when all went well. The file is opened before the call returns. Main queue.
void UISaveVideoAtPathToSavedPhotosAlbum(const std::string& path,
                                         std::function<void(NSErrorPtr error)> completion = nullptr);
