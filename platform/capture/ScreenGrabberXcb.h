#pragma once
// The picture of one monitor from the X server: MIT-SHM grabs of the root
// window cut to the monitor's rectangle into a ring of shared segments, each
// handed on as a pixel buffer without a copy, with the pointer drawn in and
// our own windows painted out.

#include "platform/capture/ScreenStream.h"

#include <memory>

namespace vantrel {

/// Null with `error` set when the display cannot be opened or grabbed.
std::unique_ptr<ScreenFrameSource> openScreenGrabberXcb(const SCContentFilter& filter,
                                                        const SCStreamConfiguration& configuration,
                                                        NSError& error);

} // namespace vantrel
