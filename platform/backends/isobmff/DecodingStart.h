#pragma once

#include "platform/backends/isobmff/CutBudget.h"
#include "platform/backends/isobmff/Movie.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace isobmff {

/// Finds out from which pictures decoding can start, by a look at their first bytes. The marks in the tables are not
/// enough: H.264 and HEVC mark as key pictures also those after which the picture only becomes whole little by little
/// (gradual refresh), decoders withhold pictures behind the key picture of an open group until they are sure, and some
/// writers forget to say that not every picture is a key picture.
class DecodingStart {
 public:
  /// The movie and the budget must outlive this object. `descriptor` is the source, open for reading; -1: the tables
  /// are believed. Every look into the file and every picture gone through is taken from the budget: all functions may
  /// throw CutRefused.
  DecodingStart(const Movie& movie, std::size_t track, int descriptor, CutBudget& budget);

  /// What has to be shown: a picture, with its time in ticks, in a file that ends with the sample `lastIndex`.
  struct Goal {
    std::uint32_t index = 0;
    std::int64_t time = 0;
    std::uint32_t lastIndex = 0;
  };
  /// Whether a decoder that is given all samples from `sample` to the goal's last shows the goal's picture, whole, and
  /// those behind it. True wherever the bytes can't be understood.
  bool leadsTo(const SampleRun& sample, const Goal& goal) const;

  /// Where the tables call every picture a key picture, takes that back for those that are none but the first. Players
  /// stop at a key picture behind the end, though pictures that belong before it come later. `samples` are single ones.
  void correctMarks(std::vector<SampleRun>& samples) const;

 private:
  enum class Coding { Other, H264, HEVC };
  struct Description {
    Coding coding = Coding::Other;
    std::uint32_t lengthSize = 4;  ///< bytes of the length before each unit
  };
  /// What the first bytes of a picture say.
  struct Look {
    bool understood = false;
    bool refresh = false;                   ///< an instantaneous refresh, or HEVC's random access
    bool leading = false;                   ///< HEVC: shown before the key picture that it follows
    bool reference = false;                 ///< H.264: others are decoded from it
    bool intra = false;                     ///< H.264: begins with a slice that is decoded by itself
    std::optional<std::uint32_t> recovery;  ///< after how many pictures those shown are whole
  };
  struct KnownLook {
    std::optional<std::uint32_t> index;  ///< of the picture
    Look look;
  };

  Look look(const SampleRun& sample) const;
  Look lookIntoFile(const SampleRun& sample) const;
  bool wholeByReferences(std::uint32_t start, std::uint32_t count, const Goal& goal) const;
  bool wholeByOrder(const SampleRun& start, std::uint32_t count, const Goal& goal) const;
  bool isAmongIntraPictures(std::uint32_t index) const;

  const Track& track_;
  int descriptor_;
  CutBudget& budget_;
  std::vector<Description> descriptions_;  ///< as in stsd
  bool allSync_ = true;                    ///< every sample is said to be a key picture
  mutable std::vector<KnownLook> known_;   ///< the latest look at a picture with this number modulo the size
};

}  // namespace isobmff
