#pragma once

#include <optional>
#include <string>

namespace publishing {

/// A small file that only the person may read: tokens, the address of an upload session. Symbolic links in place of the
/// file or of its folder are never followed. Any thread.

/// The content; nothing when there is no such file, or it isn't a regular file of ours, or is larger than a megabyte. A
/// mode that lets others read it is put right. `failure`: 0, or an errno value when there is one of ours that can't be
/// read now.
std::optional<std::string> readPrivateFile(const std::string& path, int* failure = nullptr);
/// Writes the content in mode 0600 from the first moment, replacing the file as a whole; missing folders are made in
/// mode 0700. Returns 0 or an errno value.
int writePrivateFile(const std::string& path, const std::string& content);
/// Opens the file for reading and writing, as one to be locked; with `create`, in mode 0600 where there is none yet.
/// Returns a descriptor, which the caller closes, or -1.
int openPrivateFile(const std::string& path, bool create);
void removePrivateFile(const std::string& path);

}  // namespace publishing
