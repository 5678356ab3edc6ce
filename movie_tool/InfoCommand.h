#pragma once

/// `info [--json] MOVIE`: prints what is in a movie, as a table or as JSON. `argv[0]` is the command. Returns the exit
/// status: 0; 1 when the file can't be read, with a line on standard error; 2 for wrong use.
int infoCommand(int argc, char* argv[]);
