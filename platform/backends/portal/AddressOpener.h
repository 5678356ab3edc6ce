#pragma once

#include <functional>
#include <string>
#include <vector>

/// Whether a person may be sent to `address`: a web page, a message to write; never a file or a program.
bool isOpenableAddress(const std::string& address);

enum class OpenOutcome { Opened, Cancelled, Failed };

/// Has the application for `address` open it, through the desktop's portal, else with xdg-open. `then` (may be null) is
/// called once, later; a person can cancel where the desktop asks for the application. Main queue.
void openAddress(const std::string& address, std::function<void(OpenOutcome outcome)> then);

/// Starts a program that is on the person's path. `then` (may be null) is called once, later: NO when it can't be
/// started or ends with a failure within two seconds. What runs then stays. Main queue.
void startProgram(const std::string& name, const std::vector<std::string>& arguments, std::function<void(bool)> then);
