#pragma once

/// `trim MOVIE [--from T] [--to T] [-o OUT] [--force]`: saves a part of a movie as a file, as the editor does.
/// `argv[0]` is the command. Returns the exit status: 0; 1 when it could not be done, with a line on standard error; 2
/// for wrong use; 128+N after signal N.
int trimCommand(int argc, char* argv[]);
