#include "platform/backends/isobmff/DecodingStart.h"

#include "platform/backends/isobmff/BitReader.h"
#include "platform/backends/isobmff/SampleDescription.h"

#include <algorithm>
#include <array>

#include <unistd.h>

namespace isobmff {

namespace {

/// Samples that are looked at one by one. A longer refresh is none.
constexpr std::uint32_t kMaximumCount = 4096;
/// A decoder of H.264 that begins at a picture without instantaneous refresh gives out what follows only once that one
/// has come out itself: what is still being put in order at the end of the file gets lost. So many pictures behind it
/// none is.
constexpr std::uint32_t kUntilSettled = 40;
/// A picture is not decoded longer before its time than this many others.
constexpr std::uint32_t kReordering = 32;
/// Pictures behind one that have to be of the same kind where the tables call all of them key pictures.
constexpr std::uint32_t kIntraPictures = 8;
/// What a read costs in steps of the budget.
constexpr std::uint64_t kStepsOfRead = 100;
/// Looks that are kept: those of neighbouring beginnings go over the same pictures.
constexpr std::uint32_t kKnownLooks = 2 * kMaximumCount;

/// The count in a recovery point message among the messages of a supplemental unit; nothing when it has none.
std::optional<std::uint32_t> recoveryMessage(ByteSpan unit, bool hevc) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < unit.size(); ++i) {
    // Emulation prevention: 00 00 03 stands for 00 00.
    if (i >= 2 && unit[i] == 3 && unit[i - 1] == 0 && unit[i - 2] == 0) continue;
    bytes.push_back(unit[i]);
  }
  std::size_t at = 0;
  while (at + 2 <= bytes.size()) {
    std::uint32_t type = 0, size = 0;
    for (std::uint32_t* value : {&type, &size}) {
      while (at < bytes.size() && bytes[at] == 0xFF) *value += 255, ++at;
      if (at >= bytes.size()) return std::nullopt;
      *value += bytes[at++];
    }
    if (size > bytes.size() - at) return std::nullopt;
    if (type == 6) {
      BitReader bits(ByteSpan(bytes).subspan(at, size));
      const std::uint32_t code = bits.golomb();
      if (!hevc) return code;
      return code % 2 ? code / 2 + 1 : 0;  // signed there: odd codes are positive
    }
    at += size;
  }
  return std::nullopt;
}

/// Calls `visit` with each sample by itself from the one with the number `first` on, until it returns false.
template <class Visit>
void forEachFrom(const std::vector<SampleRun>& runs, std::uint32_t first, CutBudget& budget, Visit visit) {
  auto run = std::upper_bound(runs.begin(), runs.end(), first,
                              [](std::uint32_t index, const SampleRun& candidate) { return index < candidate.index; });
  if (run != runs.begin()) --run;
  for (; run != runs.end(); ++run) {
    for (std::uint32_t i = first > run->index ? first - run->index : 0; i < run->count; ++i) {
      budget.step();
      SampleRun sample = *run;
      sample.count = 1;
      sample.index += i;
      sample.offset += std::uint64_t(i) * run->size;
      sample.decodeTime += std::int64_t(i) * run->duration;
      if (!visit(sample)) return;
    }
  }
}

}  // namespace

DecodingStart::DecodingStart(const Movie& movie, std::size_t track, int descriptor, CutBudget& budget)
    : track_(movie.tracks[track]), descriptor_(descriptor), budget_(budget) {
  for (std::size_t i = 0; i < std::min<std::size_t>(track_.formats.size(), 64); ++i) {
    Description description;
    if (const auto entry = SampleDescription::find(movie, track, i + 1)) {
      if (const auto avc = entry->child(fourCC("avcC"), false); avc && avc->size() > 4) {
        description = {Coding::H264, ((*avc)[4] & 3U) + 1};
      } else if (const auto hevc = entry->child(fourCC("hvcC"), false); hevc && hevc->size() > 21) {
        description = {Coding::HEVC, ((*hevc)[21] & 3U) + 1};
      }
    }
    descriptions_.push_back(description);
  }
  allSync_ = std::all_of(track_.runs.begin(), track_.runs.end(), [](const SampleRun& run) { return run.sync; });
}

bool DecodingStart::leadsTo(const SampleRun& sample, const Goal& goal) const {
  const Look key = look(sample);
  if (!key.understood || (key.refresh && goal.time >= sample.presentationTime())) return true;
  if (key.refresh || key.leading) return false;
  const bool hevc = descriptions_[sample.description - 1U].coding == Coding::HEVC;
  if (key.recovery) {
    if (*key.recovery >= kMaximumCount) return false;
    return hevc ? wholeByOrder(sample, *key.recovery, goal) : wholeByReferences(sample.index, *key.recovery, goal);
  }
  if (allSync_) return !hevc && key.intra && isAmongIntraPictures(sample.index);
  return hevc || (key.intra && wholeByReferences(sample.index, 0, goal));
}

/// H.264 counts the pictures that others are decoded from. What is shown with the last of them and later is whole;
/// after a gradual refresh only with the next one, as decoders leave out what refers to pictures before the beginning.
bool DecodingStart::wholeByReferences(std::uint32_t start, std::uint32_t count, const Goal& goal) const {
  bool whole = false, gradual = count > 0, refreshing = true;
  std::uint32_t left = count;      // of the refresh
  std::uint32_t settling = start;  // where the decoder begins to give out pictures
  forEachFrom(track_.runs, start, budget_, [&](const SampleRun& sample) {
    if (sample.index > goal.index || sample.index - start > kMaximumCount) return false;
    const Look picture = sample.index > start ? look(sample) : Look{};
    if (!refreshing) {
      refreshing = picture.recovery.has_value();
      left = picture.recovery.value_or(0);
    } else if (picture.reference && left > 0) {
      --left;
    }
    if (!picture.refresh && (!refreshing || left > 0)) return true;
    if (gradual && !picture.refresh) {
      gradual = false;
      settling = sample.index;
      refreshing = false;
      return true;
    }
    whole = sample.presentationTime() <= goal.time &&
            (picture.refresh || goal.lastIndex - std::min(settling, goal.lastIndex) >= kUntilSettled);
    return false;
  });
  return whole;
}

/// HEVC counts pictures in the order of showing.
bool DecodingStart::wholeByOrder(const SampleRun& start, std::uint32_t count, const Goal& goal) const {
  if (goal.time < start.presentationTime()) return false;
  std::uint32_t between = 0;
  forEachFrom(track_.runs, start.index, budget_, [&](const SampleRun& sample) {
    const std::int64_t time = sample.presentationTime();
    if (time > start.presentationTime() && time <= goal.time) ++between;
    return between < count && sample.index - start.index < kMaximumCount && sample.index < goal.index + kReordering;
  });
  return between >= count;
}

/// Whether the pictures behind one are decoded by themselves, too: then all of them are key pictures in truth.
bool DecodingStart::isAmongIntraPictures(std::uint32_t index) const {
  bool all = true;
  forEachFrom(track_.runs, index, budget_, [&](const SampleRun& sample) {
    const Look picture = look(sample);
    all = picture.refresh || picture.intra;
    return all && sample.index - index < kIntraPictures;
  });
  return all;
}

void DecodingStart::correctMarks(std::vector<SampleRun>& samples) const {
  if (!allSync_ || samples.size() < 2) return;
  if (!look(samples.back()).understood || isAmongIntraPictures(samples.front().index)) return;
  for (std::size_t i = 1; i < samples.size(); ++i) {
    const Look picture = look(samples[i]);
    samples[i].sync = !picture.understood || picture.refresh || (picture.recovery && !picture.leading);
  }
}

DecodingStart::Look DecodingStart::look(const SampleRun& sample) const {
  if (known_.empty()) known_.resize(kKnownLooks);
  KnownLook& known = known_[sample.index % kKnownLooks];
  if (known.index != sample.index) known = {sample.index, lookIntoFile(sample)};
  return known.look;
}

DecodingStart::Look DecodingStart::lookIntoFile(const SampleRun& sample) const {
  Look found;
  if (descriptor_ < 0 || sample.description == 0 || sample.description > descriptions_.size()) return found;
  const Description& description = descriptions_[sample.description - 1U];
  if (description.coding == Coding::Other) return found;
  const bool hevc = description.coding == Coding::HEVC;
  const std::size_t header = description.lengthSize + (hevc ? 2 : 1);
  constexpr std::size_t kSliceHead = 16;  // all that is looked at of a picture itself
  std::array<std::uint8_t, 512> bytes;
  std::uint64_t at = 0, begin = 0;  // of the unit and of the bytes, in the sample
  std::size_t count = 0;            // of the bytes
  for (int unit = 0; unit < 64 && at + header <= sample.size; ++unit) {
    const auto has = [&](std::uint64_t length) { return at + std::min(length, sample.size - at) <= begin + count; };
    const auto read = [&] {
      budget_.step(kStepsOfRead);
      const std::size_t wanted = std::min<std::uint64_t>(bytes.size(), sample.size - at);
      const ssize_t got = pread(descriptor_, bytes.data(), wanted, off_t(sample.offset + at));
      begin = at;
      count = got > 0 ? std::size_t(got) : 0;
    };
    // Small units come with the one before.
    if (!has(header + kSliceHead)) read();
    if (!has(header)) return found;
    std::uint64_t length = 0;
    for (std::uint32_t i = 0; i < description.lengthSize; ++i) length = length << 8 | bytes[at - begin + i];
    const auto typeOf = [hevc](std::uint8_t first) { return hevc ? first >> 1 & 0x3F : first & 0x1F; };
    const int supplemental = hevc ? 39 : 6;
    const bool isMessage = typeOf(bytes[at - begin + description.lengthSize]) == supplemental;
    if (at > begin && isMessage && !has(std::min<std::uint64_t>(description.lengthSize + length, bytes.size()))) read();
    if (!has(header)) return found;
    const ByteSpan here = ByteSpan(bytes).subspan(at - begin, count - (at - begin));
    const std::uint8_t first = here[description.lengthSize];
    const int type = typeOf(first);
    const std::size_t end = std::size_t(std::min<std::uint64_t>(here.size(), description.lengthSize + length));
    const ByteSpan content = end > header ? here.subspan(header, end - header) : ByteSpan();
    if (hevc ? type < 32 : type >= 1 && type <= 5) {  // the picture itself
      found.understood = true;
      found.refresh = hevc ? type >= 16 && type <= 23 : type == 5;
      found.leading = hevc && type >= 6 && type <= 9;
      found.reference = !hevc && (first >> 5 & 3) != 0;
      if (!hevc) {
        BitReader bits(content);
        bits.golomb();  // where the slice begins
        const std::uint32_t kind = bits.golomb() % 5;
        found.intra = found.refresh || kind == 2 || kind == 4;
      }
      return found;
    }
    if (type == supplemental && !found.recovery) found.recovery = recoveryMessage(content, hevc);
    at += description.lengthSize + length;
  }
  return found;
}

}  // namespace isobmff
