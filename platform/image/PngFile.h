#pragma once
// PNG files in and out of premultiplied BGRA pixel buffers, for tools, tests
// and reference pictures. Never on the frame path: both calls touch the disk.

#include "platform/core/PixelBuffer.h"

#include <filesystem>

namespace vantrel {

/// The picture of a PNG file as premultiplied BGRA; a file without alpha
/// comes out opaque. Null when the file is missing, unreadable or not a PNG.
CVPixelBufferRef readPngFile(const std::filesystem::path& path);

/// Writes `pixels` (premultiplied BGRA) as an 8-bit RGBA PNG with straight
/// alpha, replacing any file at `path`. False when the file cannot be written.
bool writePngFile(const CVPixelBuffer& pixels, const std::filesystem::path& path);

} // namespace vantrel
