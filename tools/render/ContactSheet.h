#pragma once
// Many frames on one picture, left to right and top to bottom, to see a
// whole replay at a glance.

#include "platform/core/PixelBuffer.h"

#include <vector>

namespace vantrel::tools {

/// Tiles `frames` `columns` across, each scaled to `thumbnailWidth` wide.
CVPixelBufferRef makeContactSheet(const std::vector<CVPixelBufferRef>& frames, int columns,
                                  int thumbnailWidth);

} // namespace vantrel::tools
