#pragma once

/// Carries out scripts: files of steps, one a line, that work the editor the way a person does (docs/SCRIPTS.md).
namespace automation {

/// Makes the script driver the program's. Call once, before the window is made.
void install();

}  // namespace automation
