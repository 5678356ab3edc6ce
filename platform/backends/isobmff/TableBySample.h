#pragma once

#include "platform/backends/isobmff/ByteWriter.h"
#include "platform/backends/isobmff/Movie.h"

#include <vector>

namespace isobmff {

/// Whether a box of stbl tells something of samples by number that is kept as it is until a cut is written: parts of
/// samples (subs), degradation priorities (stdp), padding bits (padb).
bool isTableBySample(FourCC type);

/// Writes what such a box of the source tells of the samples of a cut. Nothing when it can't be understood
/// or lacks some of them. Not longer than what the source has, but for one sample.
void cutTableBySample(const Box& box, const std::vector<SampleRun>& runs, ByteWriter& out);

}  // namespace isobmff
