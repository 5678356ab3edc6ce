#pragma once

#include <QtCore/qglobal.h>

#include <optional>
#include <string>

namespace publishing_test {

/// Something that goes wrong at the server, once. Written `PLACE:WHAT[=VALUE][*TIMES]`, for example
/// `start:status=503*2`.
///
/// Places, each a kind of request:
///   authorize  the browser's page       token   tokens for a code or a refresh
///   start      a new upload session     chunk   a part of the file (the last one too)
///   query      how much is there?       cancel  a session is given up
/// What:
///   ok             nothing; for a fault that is to come later
///   status=N       answer with this status, without touching anything
///   retry-after=N  status 503, with the header Retry-After: N
///   close=N        take N bytes of the body, keep them, then cut the connection
///   stall          never answer, the connection stays open
///   quota          status 403, the daily allowance is used up
///   gone           status 404; the session is forgotten
///   expire         the access tokens that were given out end now: status 401
///   no-location, foreign-location   a session start without an address, or with one on another host
///   redirect       status 307 to another host
///   bad-range, range-beyond         a 308 whose Range can't be read, or counts more bytes than were sent
///   lose=N         a 308 that has forgotten the last N bytes
///   not-json       a success whose body isn't JSON; the video is kept
///   deny, wrong-state, no-code      authorize only: the person refuses; a state that we didn't send; no code
///   invalid-grant  token only: the code or the refresh token isn't accepted
struct Fault {
  std::string place, what;
  qint64 value = 0;
  int times = 1;

  /// Nothing when the text can't be read.
  static std::optional<Fault> parse(const std::string& text);
};

}  // namespace publishing_test
