#pragma once

#include <string>
#include <vector>

/// `format` with its placeholders filled in: "%@" takes the next of `arguments`, "%1$@" the first, "%2$@" the second
/// (so that a translation may turn them round), and "%%" is a percent sign. Everything else stays as it is, also a
/// placeholder without an argument. Any thread.
std::string NSStringWithFormat(const std::string& format, const std::vector<std::string>& arguments);
