#pragma once

#include "platform/backends/isobmff/SampleDescription.h"

/// The number of channels that an AAC stream's own header tells; 0 for other codings and when it does not. Sample
/// descriptions of MP4 mostly say two, whatever the sound.
int streamChannels(const isobmff::SampleDescription& description);
