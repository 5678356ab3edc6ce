#pragma once

#include "platform/backends/isobmff/SampleRunBuilder.h"
#include "platform/backends/isobmff/SampleTables.h"

#include <cstdint>

namespace isobmff {

/// Turns the sample tables of a track into runs, by going through all of them at once: each step takes what is left
/// alike in every table, so that the work is bounded by the number of entries and not by the numbers in them.
class SampleTableReader {
 public:
  /// Samples as QuickTime counts those of sound of constant rate: single frames, of which so many make a packet of so
  /// many bytes. Each frame lasts a tick. Runs are made of packets then.
  struct Packets {
    std::uint32_t bytes = 0;
    std::uint32_t frames = 0;
  };

  /// `descriptions` is the number of entries in stsd. `openSync` are the samples (from 0, ascending) that a sample
  /// group marks as random access points of an open group of pictures.
  SampleTableReader(const SampleTables& tables, std::uint32_t descriptions, Packets packets,
                    std::vector<SampleGroup::Run> openSync, bool isSound)
      : tables_(tables),
        descriptions_(descriptions),
        packets_(packets),
        openSync_(std::move(openSync)),
        isSound_(isSound) {}

  /// Appends all samples. A table of durations that ends early goes on with its last one, one of offsets with 0.
  /// Throws ReadFailure.
  void read(SampleRunBuilder& builder);

 private:
  const SampleTables& tables_;
  std::uint32_t descriptions_;
  Packets packets_;
  std::vector<SampleGroup::Run> openSync_;
  bool isSound_;
};

}  // namespace isobmff
