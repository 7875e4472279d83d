#pragma once
// A made-up desktop picture to replay traces over when no screenshot is
// given: a gradient, a grid every 120 pixels and a few windows, so that pans
// and zooms are easy to follow by eye.

#include "platform/core/PixelBuffer.h"

namespace vantrel::tools {

CVPixelBufferRef makeSyntheticDesktop(int width, int height);

/// A made-up webcam picture: a head and shoulders against a warm wall.
CVPixelBufferRef makeSyntheticWebcam(int width, int height);

} // namespace vantrel::tools
