#pragma once

#include "platform/Foundation/NSError.h"

#include <functional>
#include <memory>
#include <string>

/// A movie opened to be saved. Its name may go away afterwards.
class PhotoLibrarySource {
 public:
  virtual ~PhotoLibrarySource() = default;
};

/// The photo library's folder on disk. Carried out by the system's back end; any thread.
namespace PhotoLibraryStore {

/// "Zevanti" in the user's video directory.
std::string defaultFolder();

/// Opens the movie at `path`; null and `error` when that is not a file that can be read.
std::shared_ptr<PhotoLibrarySource> open(const std::string& path, NSErrorPtr* error);

/// Saves `source` in `folder` (made when missing) as "name.extension", "name 2.extension", ..., the first of these that
/// is free; `savedPath` (may be null) is set to the new file's path. Returns when the file and its name are on disk;
/// after a failure nothing is left behind. The error's text says what could not be saved, where and why; a source that
/// becomes shorter or longer meanwhile, or into which somebody has written since it was opened, is not saved either.
/// `progress` (may be null) is called on the calling thread, rising, from 0 to 1.
NSErrorPtr save(PhotoLibrarySource& source, const std::string& folder, const std::string& name,
                const std::string& extension, std::string* savedPath = nullptr,
                const std::function<void(float)>& progress = nullptr);

/// The path of a file in `folder` that is `source` itself, or a copy of it as `save` makes them: as long, as old, and
/// the same in every part that is looked at. Empty when there is none.
std::string find(PhotoLibrarySource& source, const std::string& folder);
/// Whether the file at `path` is one that `find` would give.
bool isCopy(PhotoLibrarySource& source, const std::string& path);

}  // namespace PhotoLibraryStore
