#include "movie_tool/TrimOptions.h"

#include "movie_tool/Arguments.h"
#include "movie_tool/Message.h"
#include "movie_tool/MovieTime.h"

using message::quoted;

const char* const TrimOptions::usageLine = "Usage: zevanti trim MOVIE [--from TIME] [--to TIME] [-o FILE] [--force]\n";
const char* const TrimOptions::helpText =
    R"(Save a part of MOVIE as a file, exact at both ends and without loss. MOVIE itself
is never changed.

      --from TIME         where the part begins (default: the beginning)
      --to TIME           where it ends (default, and at most: the end)
                          TIME is in seconds or h:mm:ss, as in 12.5 or 1:02:03.250
  -o, --output FILE       the new file (default: "NAME trimmed.EXT" beside MOVIE)
      --force             replace FILE if it is there; of a symbolic link the link,
                          not what it points to
      --help              show this help

The new file is an MP4 movie (.mp4, .m4v), also when MOVIE is Matroska, WebM or
MPEG-TS, or a QuickTime movie (.mov) when MOVIE is one or has sound that is not
coded. Put -- before a MOVIE whose name begins with a dash.

Prints the new file, its length, and from when to when it was taken; what is not
text in the file's name as \x1b. Shows its progress on a terminal.

Exit status: 0 when the file is on disk, 1 when something failed, 2 for wrong
options, 128+N after signal N. A file that could not be written whole is not
left behind.
)";

namespace {

constexpr CMTime kShortest{1, 1000};

bool parseTime(const std::string& option, const std::string& value, std::optional<CMTime>& time, std::string& problem) {
  time = movie_time::parse(value);
  if (time) return true;
  if (value.size() > 1 && value[0] == '-' && movie_time::parse(value.substr(1)))
    problem = option + " " + value + " lies before the beginning; times count from there on";
  else
    problem = option + " takes seconds or h:mm:ss, such as 12.5 or 1:02:03.250, not " + quoted(value);
  return false;
}

}  // namespace

bool TrimOptions::set(int option, const std::string& value, std::string& problem) {
  switch (option) {
    case 'f':
      return parseTime("--from", value, from, problem);
    case 't':
      return parseTime("--to", value, to, problem);
    case 'o':
      output = value;
      if (value.empty())
        problem = "--output takes the name of a file";
      else if (value == "-")
        problem = "a movie can't be written to standard output; give a file with -o";
      else if (value[0] == '-')
        problem = "--output takes the name of a file, not " + quoted(value) + " (a file of that name: ./" + value + ")";
      return problem.empty();
    case 'F':
      force = true;
      return true;
    default:
      help = true;
      return false;
  }
}

bool TrimOptions::read(int argc, char* argv[], std::string& problem) {
  const option options[] = {{"from", required_argument, nullptr, 'f'},   {"to", required_argument, nullptr, 't'},
                            {"output", required_argument, nullptr, 'o'}, {"force", no_argument, nullptr, 'F'},
                            {"help", no_argument, nullptr, 'h'},         {nullptr, 0, nullptr, 0}};
  Arguments arguments(options, "o:");
  const auto handle = [&](int found, const std::string& value) { return set(found, value, problem); };
  if (!arguments.read(argc, argv, handle, problem)) return help;
  movie = arguments.movie(problem);
  if (!problem.empty()) return false;
  if (!from && !to) {
    problem = "nothing to trim: give --from, --to or both";
  } else if (to) {
    const CMTime begin = from.value_or(kCMTimeZero);
    const auto text = [](CMTime time) { return movie_time::clock(CMTimeGetSeconds(time)); };
    if (CMTimeCompare(*to, begin) <= 0)
      problem = "--to must be later than --from: " + text(*to) + " is not later than " + text(begin);
    else if (CMTimeCompare(CMTimeSubtract(*to, begin), kShortest) < 0)
      problem = "the part from --from to --to is shorter than a millisecond";
  }
  return problem.empty();
}
