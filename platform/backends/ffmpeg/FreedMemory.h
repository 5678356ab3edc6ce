#pragma once

// What the C library does with memory that is freed. A long recording's index is read by several readers, each some ten
// megabytes, and most of them are gone again soon.

/// Large pieces of memory go back to the system as soon as they are freed. Once in a process, early; any thread.
void returnLargeMemoryAtOnce();

/// Gives back what the many small pieces of a library left behind. Takes a millisecond or two: for quiet moments.
void returnFreedMemory();
