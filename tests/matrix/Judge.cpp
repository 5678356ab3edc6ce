#include "tests/matrix/Judge.h"

#include "tests/matrix/SoundMatch.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace {

using namespace matrix;

/// The part of a sound's power that coding it and reading it back may change.
constexpr double kSoundError = 0.05;
/// Seconds at the beginning in which a player that ignores edit lists sounds the squeezed lead-in.
constexpr double kSqueezed = 0.06;

[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...) {
  char buffer[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  return buffer;
}

/// "7…25 (19)", and where numbers jump.
std::string numbers(const std::vector<Picture>& pictures) {
  if (pictures.empty()) return "none";
  std::string result;
  for (std::size_t i = 0; i < pictures.size();) {
    std::size_t j = i;
    while (j + 1 < pictures.size() && pictures[j + 1].number == pictures[j].number + 1) ++j;
    if (result.size() > 60) {
      result += text(" … %d", pictures.back().number);
      break;
    }
    result += result.empty() ? "" : " ";
    result += j > i ? text("%d…%d", pictures[i].number, pictures[j].number) : text("%d", pictures[i].number);
    i = j + 1;
  }
  return result + text(" (%zu)", pictures.size());
}

/// The part of a source's sound that lies in the range, in the range's times; empty when there is none.
struct Audible {
  double start = 0, end = 0;
  bool any() const { return end - start > 0.001; }
};

Audible audible(const Sound& source, const Range& range) {
  return {std::max(source.start, range.start) - range.start, std::min(source.end(), range.end) - range.start};
}

/// The range as a player sees it that begins with the first picture.
Range fromFirstPicture(const Truth& truth, const Range& range) {
  const Expected expected = truth.expected(range);
  const double hole = expected.pictures.empty() ? 0 : expected.pictures.front().time;
  return {range.name, range.start + hole, range.end};
}

}  // namespace

bool matrix::isAudible(const Truth& truth, const Range& range) {
  const auto& sources = truth.reading().sounds;
  return !sources.empty() && audible(sources[0], range).any();
}

matrix::Verdict matrix::judge(const Truth& truth, const Range& range, const Reading& reading,
                              const Exactness& exactness) {
  return exactness.tolerant ? judgeTolerant(truth, range, reading, exactness)
                            : judgeExact(truth, range, reading, exactness);
}

matrix::Verdict matrix::judgeExact(const Truth& truth, const Range& asked, const Reading& reading,
                                   const Exactness& exactness) {
  Verdict verdict;
  std::vector<std::string>& complaints = verdict.complaints;
  if (!reading.error.empty()) return {{"can't be played: " + reading.error}, {}};
  const Range range = exactness.fromPicture ? fromFirstPicture(truth, asked) : asked;
  const Expected expected = truth.expected(range);
  const double tolerance = exactness.pictureTime + truth.reading().tick;

  const auto same = [](const Picture& a, const Picture& b) { return a.number == b.number; };
  if (!std::equal(expected.pictures.begin(), expected.pictures.end(), reading.pictures.begin(), reading.pictures.end(),
                  same)) {
    complaints.push_back("pictures: expected " + numbers(expected.pictures) + ", seen " + numbers(reading.pictures));
  } else {
    for (std::size_t i = 0; i < expected.pictures.size(); ++i) {
      const double due = expected.pictures[i].time, seen = reading.pictures[i].time;
      if (std::abs(due - seen) <= tolerance) continue;
      complaints.push_back(text("time of picture %d (%zu of %zu): expected %.6f, seen %.6f",
                                expected.pictures[i].number, i + 1, expected.pictures.size(), due, seen));
      break;
    }
  }
  if (std::abs(reading.duration - asked.length()) > exactness.duration) {
    complaints.push_back(text("length: expected %.6f, seen %.6f", asked.length(), reading.duration));
  }

  const auto& sources = truth.reading().sounds;
  std::size_t heard = 0;
  for (std::size_t i = 0; i < sources.size(); ++i) {
    if (i > 0 && exactness.onlyFirstSound) break;
    const Audible due = audible(sources[i], range);
    if (heard >= reading.sounds.size()) {
      if (due.any()) complaints.push_back(text("sound track %zu is missing", i + 1));
      continue;
    }
    const Sound& sound = reading.sounds[heard++];
    if (!due.any()) {
      if (sound.end() > 0.05 && !sound.samples.empty()) {
        complaints.push_back(text("sound track %zu: expected none, heard %.4f s", i + 1, sound.end()));
      }
      continue;
    }
    if (sound.samples.empty()) {
      complaints.push_back(text("sound track %zu: expected %.4f s, heard none", i + 1, due.end - due.start));
      continue;
    }
    const double sample = 1.0 / sources[i].rate;
    if (std::abs(sound.start - due.start) > exactness.soundStart + 1.01 * sample) {
      complaints.push_back(text("sound track %zu: expected from %.6f, heard from %.6f", i + 1, due.start, sound.start));
    }
    if (sound.end() < due.end - exactness.soundMissing - 1.01 * sample) {
      complaints.push_back(text("sound track %zu: expected to %.6f, heard to %.6f", i + 1, due.end, sound.end()));
    }
    const SoundMatch match = matchSound(sources[i], sound, range.start, range.length(), 0.015);
    // The range may begin between two samples; times may be kept in coarser units than samples.
    const double place = (range.start - sources[i].start) * sources[i].rate;
    const int slack = exactness.soundLag + (std::abs(place - std::round(place)) > 1e-3 ? 1 : 0);
    if (!match.reason.empty()) {
      complaints.push_back(text("sound track %zu: %s", i + 1, match.reason.c_str()));
    } else if (match.error > kSoundError) {
      complaints.push_back(
          text("sound track %zu: not the source's sound within 15 ms (%.0f %% off)", i + 1, match.error * 100));
    } else if (match.firstError > exactness.soundFirst) {
      complaints.push_back(
          text("sound track %zu: its first 20 ms are not the source's (%.0f %% off)", i + 1, match.firstError * 100));
    } else if (std::abs(match.lag) > slack) {
      complaints.push_back(text("sound track %zu: %d samples (%.2f ms) %s", i + 1, std::abs(match.lag),
                                1000.0 * std::abs(match.lag) / sources[i].rate, match.lag > 0 ? "late" : "early"));
    }
  }
  return verdict;
}

matrix::Verdict matrix::judgeTolerant(const Truth& truth, const Range& asked, const Reading& reading,
                                      const Exactness& exactness) {
  Verdict verdict;
  std::vector<std::string>& complaints = verdict.complaints;
  if (!reading.error.empty()) return {{"can't be played: " + reading.error}, {}};
  const auto& pictures = reading.pictures;
  const double frame = truth.pictureLength();
  // What is empty before the first picture is part of the edit list, too.
  const Range range = fromFirstPicture(truth, asked);
  const Expected expected = truth.expected(range);
  if (expected.pictures.empty() || pictures.empty()) {
    if (pictures.empty() != expected.pictures.empty()) complaints.push_back("pictures: seen " + numbers(pictures));
    return verdict;
  }

  // The player's clock starts with the first thing there is.
  double zero = pictures.front().time;
  for (const Sound& sound : reading.sounds) {
    if (!sound.samples.empty() && range.start == asked.start) zero = std::min(zero, sound.start);
  }
  const auto indexOf = [&](int number) {
    const auto& shown = truth.reading().pictures;
    const auto found = std::find_if(shown.begin(), shown.end(), [&](const Picture& p) { return p.number == number; });
    return found == shown.end() ? -1 : int(found - shown.begin());
  };
  for (double time = 2 * frame + 0.001; time < range.length(); time += frame / 3) {
    std::size_t seen = 0;
    while (seen + 1 < pictures.size() && pictures[seen + 1].time - zero <= time) ++seen;
    const int due = int(truth.pictureAt(range.start + time)), is = indexOf(pictures[seen].number);
    const bool late = pictures[seen].time - zero > time;
    // A picture that stands long is right as long as the time is within two pictures of its own.
    const bool near = int(truth.pictureAt(range.start + time - 2 * frame)) <= is &&
                      is <= int(truth.pictureAt(range.start + time + 2 * frame));
    if (is >= 0 && !late && (near || std::abs(due - is) <= 2)) continue;
    complaints.push_back(text("at %.4f: expected picture %d or within two of it, seen %s%d; all: %s", time,
                              truth.reading().pictures[std::size_t(due)].number, late ? "nothing yet, then " : "",
                              pictures[seen].number, numbers(pictures).c_str()));
    break;
  }

  const auto& sources = truth.reading().sounds;
  if (isAudible(truth, range) && range.start == asked.start) {
    if (reading.sounds.empty() || reading.sounds[0].samples.empty()) {
      complaints.push_back("sound: none");
      return verdict;
    }
    Sound sound = reading.sounds[0];
    sound.start -= zero;
    if (exactness.soundAtOnce) sound.start += audible(sources[0], range).start;
    const double limit = std::max(2 * frame, exactness.soundApart);
    const auto compare = [&](double from, double to) {
      const SoundMatch match = matchSound(sources[0], sound, range.start, to, limit, from + kSqueezed);
      if (!match.reason.empty()) {
        // So short a range may be gone before the squeezed lead-in is over.
        auto& list = range.length() > 2 * kSqueezed ? complaints : verdict.notCompared;
        list.push_back("sound: " + match.reason);
      } else if (match.error > kSoundError) {
        complaints.push_back(text("sound from %.3f: not the source's within %.0f ms (%.0f %% off)", from, limit * 1000,
                                  match.error * 100));
      }
    };
    const double seam = exactness.seam - range.start;
    if (seam > 0 && seam < range.length()) {
      compare(0, seam);
      compare(seam, range.length());
    } else {
      compare(0, range.length());
    }
  }
  return verdict;
}
