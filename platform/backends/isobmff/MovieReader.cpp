#include "platform/backends/isobmff/MovieReader.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/backends/isobmff/BoxParser.h"
#include "platform/backends/isobmff/BoxTree.h"
#include "platform/backends/isobmff/FileScanner.h"
#include "platform/backends/isobmff/FragmentReader.h"
#include "platform/backends/isobmff/TrackReader.h"

#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

namespace isobmff {

namespace {

constexpr std::uint64_t kMaximumIndex = 256U << 20;
constexpr std::uint64_t kMaximumOther = 16U << 20;
constexpr std::uint64_t kMaximumFileType = 64U << 10;
constexpr std::size_t kMaximumTracks = 256;

/// What stands where in the file.
struct Layout {
  std::optional<FileBox> fileType, index;
  std::vector<FileBox> fragments, other;
};

Layout scan(FileScanner& file) {
  Layout layout;
  FileBox box;
  std::uint64_t boxes = 0;
  for (std::uint64_t position = 0; file.boxAt(position, box); position = box.end) {
    if (++boxes > FileScanner::maximumBoxes) throw ReadFailure{"has more parts than can be handled."};
    switch (box.type) {
      case fourCC("ftyp"):
        if (!layout.fileType) layout.fileType = box;
        break;
      case fourCC("moov"):
        if (!layout.index) layout.index = box;
        break;
      case fourCC("moof"):
        layout.fragments.push_back(box);
        break;
      case fourCC("uuid"):
      case fourCC("udta"):
      case fourCC("meta"):
        if (!box.cutOff && layout.other.size() < 1000) layout.other.push_back(box);
        break;
      default:
        break;
    }
  }
  return layout;
}

bool isQuickTime(const Bytes& fileType) {
  if (fileType.size() < 8) return true;
  for (std::size_t at = 0; at + 4 <= fileType.size(); at += 4) {
    if (at != 4 && loadU32(fileType.data() + at) == fourCC("qt  ")) return true;
  }
  return false;
}

/// meta boxes may hold places in the file (iloc), which the new file would not have.
bool holdsOffsets(const Box& box) {
  if (box.type != fourCC("meta")) return false;
  try {
    for (const std::size_t header : {0, 4}) {  // QuickTime's has no version
      if (box.payload.size() > header && findBox(ByteSpan(box.payload).subspan(header), fourCC("iloc"))) return true;
      if (box.payload.size() >= header + 8 && loadU32(box.payload.data() + header + 4) == fourCC("hdlr")) return false;
    }
  } catch (const ReadFailure&) {
    return true;
  }
  return false;
}

/// Fragments of live recordings count from some far moment. Smaller numbers keep everybody's sums exact. Whole seconds,
/// the same for all tracks; returns how many.
std::int64_t beginNearZero(std::vector<std::unique_ptr<TrackReader>>& tracks) {
  std::int64_t seconds = SampleRunBuilder::maximumTime;
  for (const auto& reader : tracks) {
    const Track& track = reader->track();
    if (track.runs.empty()) continue;
    seconds = std::min(seconds, track.runs.front().decodeTime / track.timescale);
    for (const EditSegment& edit : track.edits) {
      if (edit.mediaTime >= 0) seconds = std::min(seconds, edit.mediaTime / track.timescale);
    }
  }
  if (seconds <= 0 || seconds == SampleRunBuilder::maximumTime) return 0;
  for (const auto& reader : tracks) {
    if (!reader->track().runs.empty()) reader->shift(-seconds * reader->track().timescale);
  }
  return seconds;
}

std::unique_ptr<Movie> read(int descriptor) {
  FileScanner file(descriptor);
  const Layout layout = scan(file);
  if (!layout.index) {
    throw ReadFailure{layout.fileType ? "has no index: the recording was not finished, or it is no movie."
                                      : "is not a movie."};
  }
  if (layout.index->cutOff) throw ReadFailure{"was cut off in the middle of its index."};
  if (layout.index->end - layout.index->payload > kMaximumIndex) failDamaged("too large");

  auto movie = std::make_unique<Movie>();
  movie->fileSize = file.fileSize();
  if (layout.fileType) {
    if (layout.fileType->end - layout.fileType->payload > kMaximumFileType) failDamaged("ftyp");
    movie->fileType = file.read(layout.fileType->payload, layout.fileType->end - layout.fileType->payload);
  }
  Bytes index = file.read(layout.index->payload, layout.index->end - layout.index->payload);
  if (findBox(index, fourCC("cmov"))) throw ReadFailure{"has a compressed index (cmov), which can't be read."};

  ReadLimits limits;
  limits.fileSize = file.fileSize();
  std::vector<std::unique_ptr<TrackReader>> tracks;
  Bytes fragmentDefaults;
  BoxTree tree(limits);
  movie->moov.type = fourCC("moov");
  bool haveHeader = false;
  BoxParser parser(index);
  while (const auto box = parser.next()) {
    switch (box->type) {
      case fourCC("mvhd"): {
        if (std::exchange(haveHeader, true)) break;
        ByteReader reader(box->payload, "mvhd");
        const bool longTimes = reader.version() == 1;
        reader.skip(longTimes ? 16 : 8);
        movie->timescale = std::clamp(reader.u32(), 1U, 0x7FFFFFFFU);
        reader.skip(longTimes ? 8 : 4);
        movie->moov.children.push_back(tree.copyOpaque(*box));
        break;
      }
      case fourCC("mvex"):
        movie->fragmented = true;
        fragmentDefaults.insert(fragmentDefaults.end(), box->payload.begin(), box->payload.end());
        break;
      case fourCC("trak"): {
        auto track = std::make_unique<TrackReader>(limits);
        if (!track->read(box->payload, isQuickTime(movie->fileType))) break;
        if (tracks.size() == kMaximumTracks) throw ReadFailure{"has more tracks than can be handled."};
        movie->trackBoxes.push_back(std::uint16_t(movie->moov.children.size()));
        movie->moov.children.push_back(tree.copyTrack(*box));
        tracks.push_back(std::move(track));
        break;
      }
      default:
        if (movie->moov.children.size() >= 0x8000) failDamaged("too many boxes");
        movie->moov.children.push_back(tree.copyOpaque(*box));
        break;
    }
  }
  if (!haveHeader) failDamaged("mvhd");
  index = {};
  if (std::none_of(tracks.begin(), tracks.end(), [](const auto& reader) {
        return reader->track().handler == fourCC("vide") || reader->track().handler == fourCC("soun");
      }))
    throw ReadFailure{"has neither pictures nor sound that can be read."};

  if (movie->fragmented) {
    FragmentReader fragments(file, tracks, movie->moov, movie->trackBoxes, limits);
    fragments.readDefaults(fragmentDefaults);
    for (const FileBox& fragment : layout.fragments) fragments.read(fragment);
    movie->origin = beginNearZero(tracks);
  }
  for (const auto& track : tracks) movie->tracks.push_back(track->take());

  std::uint64_t kept = 0;
  for (const FileBox& other : layout.other) {
    kept += other.end - other.payload;
    if (kept > kMaximumOther) break;
    Box box{other.type, file.read(other.payload, other.end - other.payload), {}};
    if (!holdsOffsets(box)) movie->other.push_back(std::move(box));
  }
  return movie;
}

}  // namespace

bool isMovieFile(int descriptor) {
  std::uint8_t start[8];
  if (pread(descriptor, start, sizeof start, 0) != ssize_t(sizeof start)) return false;
  const std::uint32_t size = loadU32(start);
  const FourCC type = loadU32(start + 4);
  if (size != 0 && size != 1 && size < 8) return false;
  if (type == fourCC("ftyp")) return size >= 8 && size <= kMaximumFileType;
  for (const FourCC first :
       {fourCC("moov"), fourCC("mdat"), fourCC("wide"), fourCC("free"), fourCC("skip"), fourCC("pnot")}) {
    if (type == first) return true;
  }
  return false;
}

std::unique_ptr<Movie> readMovie(int descriptor, const std::string& displayName, NSErrorPtr* error) {
  NSErrorPtr failure;
  try {
    return read(descriptor);
  } catch (const ReadFailure& found) {
    const std::string what = "“" + displayName + "” " + found.reason;
    failure = found.posixError != 0
                  ? NSError::posix(found.posixError, what)
                  : std::make_shared<const NSError>(AVFoundationErrorDomain, AVErrorFileFormatNotRecognized, what);
  } catch (const std::bad_alloc&) {
    failure = NSError::posix(ENOMEM, "“" + displayName + "” can't be read");
  } catch (const std::length_error&) {
    failure = NSError::posix(ENOMEM, "“" + displayName + "” can't be read");
  }
  if (error) *error = failure;
  return nullptr;
}

}  // namespace isobmff
