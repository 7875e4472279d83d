#pragma once
// The mouse pointer, drawn into replayed frames the way the screen capture
// draws the real one, so that a replay shows where the pointer is.

#include "platform/image/CIContext.h"
#include "platform/image/CIImage.h"

namespace vantrel::tools {

class PointerSprite {
public:
    PointerSprite();
    /// `screen` with the arrow's tip at `location` (y up), rendered into a
    /// buffer of the screen's size.
    CVPixelBufferRef drawOver(const CVPixelBufferRef& screen, CGPoint location);

private:
    CIImage arrow_;
    CIContext context_;
    CVPixelBufferPoolRef pool_;
};

} // namespace vantrel::tools
