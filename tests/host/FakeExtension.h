#pragma once

/// What the test program does when the host starts it in the extension's place: it shows the faults that the real
/// extension can't be made to have. The environment's FAKE_MODE says which; the run's values are written to
/// FAKE_OUTPUT, one a line, as soon as they are there.
///
/// - "finish": reports two activities, removes the movie when dismissed
/// - "wait": removes the movie and ends on SIGINT, SIGTERM and SIGHUP
/// - "stubborn": as "wait", but takes no notice of signals
/// - "crash": leaves a trimmed movie in the temporary directory and aborts
/// - "early": aborts before it talks to the host
/// - "orphan": stays until the host has gone and the file FAKE_OUTPUT.end exists
///
/// Returns the exit status.
int runFakeExtension();
