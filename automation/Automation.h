#pragma once

/// Carries out scripts: files of steps, one a line, that work the editor the way a person does (docs/SCRIPTS.md).
namespace automation {

/// Makes the script driver the program's. Call once, before the window is made.
void install();

/// The program's exit status, given the one that it would have without a script. Call when everything has ended: steps
/// that were still to come when the editor finished can't be done.
int exitStatus(int status);

}  // namespace automation
