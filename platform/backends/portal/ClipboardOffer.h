#pragma once

#include <functional>
#include <string>

/// Puts a movie on the clipboard: the file for file managers and chat windows, `text` for text fields. It stays there
/// when this program has ended: on X11 a small program of ours offers it until something else is copied; elsewhere the
/// desktop's clipboard manager has to keep it. `then` is called once, later, when the clipboard has it. Main queue.
void offerOnClipboard(const std::string& path, const std::string& text, std::function<void()> then);

/// Has a text that is on the clipboard stay there in the same way. Main queue.
void offerTextOnClipboard(const std::string& text);
