#pragma once
// Inside of a bitmap context, for the platform files that draw into one
// (shapes, text). Not for the logic: Cairo stays behind the platform.

#include "platform/image/BitmapMemory.h"
#include "platform/image/CGBitmapContext.h"
#include "platform/core/PixelBuffer.h"

#include <cairo.h>
#include <functional>
#include <optional>

namespace vantrel {

struct CGContext::State {
    int width = 0;
    int height = 0;
    /// The memory the surface draws into; shared with the last image handed out.
    CVPixelBufferRef pixels;
    /// The pixels of `pixels` that may not be clear.
    std::shared_ptr<bitmap_memory::DeviceBox> drawn;
    cairo_surface_t* surface = nullptr;
    cairo_t* cr = nullptr;
    /// True after an image took the pixels, until the context draws again.
    bool pixelsHandedOut = false;

    CGColor fillColor{0, 0, 0, 1};
    CGColor strokeColor{0, 0, 0, 1};
    CGFloat lineWidth = 1;
    /// The share of its alpha at which everything is laid down.
    CGFloat alpha = 1;
    bool allowsAntialiasing = true;
    bool shouldAntialias = true;
    CGSize shadowOffset;
    CGFloat shadowBlur = 0;
    std::optional<CGColor> shadowColor;
    CGPath currentPath;

    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State();

    bool antialiasing() const { return allowsAntialiasing && shouldAntialias; }
};

namespace cg_cairo {

using bitmap_memory::DeviceBox;

/// The device pixels that `rect` (y-up units) touches, grown by `margin`.
DeviceBox deviceBoxOf(const CGContext::State& state, const CGRect& rect, int margin);

/// Draws a shape: first its shadow if one is set, then the shape itself in
/// `color`. `draw` renders the shape on the cairo context it is given, with
/// that context's current source and the y-up matrix already in place; it
/// may change the matrix and clip. It runs twice when there is a shadow, so
/// it must not change anything but the cairo context. `ink` must hold every
/// pixel the shape can touch. Does nothing if the surface cannot be drawn.
void paintShape(CGContext::State& state, const CGColor& color, const DeviceBox& ink,
                const std::function<void(cairo_t*)>& draw);

} // namespace cg_cairo
} // namespace vantrel
