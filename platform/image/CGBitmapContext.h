#pragma once
// Bitmap contexts for overlay pictures (ripples, the keystroke pill, label
// bubbles, masks), under the Core Graphics names the engine uses.
//
// A context is 8 bits per component, device RGB, premultiplied alpha: its
// pixels are premultiplied BGRA, exactly as CGImage and CVPixelBuffer keep
// them. Its space is Core Graphics': origin at the lower-left corner of the
// bitmap, y up, one unit one pixel.
//
// A context belongs to one thread at a time. Every call is cheap to make and
// none blocks; drawing into a context costs in proportion to the area drawn.
// The CGImage a context hands out is immutable and may go to any thread.

#include "platform/image/CGColor.h"
#include "platform/image/CGPath.h"
#include "platform/image/CIImage.h"
#include "platform/core/Geometry.h"

#include <memory>
#include <optional>

namespace vantrel {

class CGContext {
public:
    /// Drawing state and surface; defined where the context is drawn into.
    struct State;

    explicit CGContext(std::unique_ptr<State> state);
    CGContext(const CGContext&) = delete;
    CGContext& operator=(const CGContext&) = delete;
    ~CGContext();

    int width() const;
    int height() const;
    State& state() { return *state_; }

private:
    std::unique_ptr<State> state_;
};

using CGContextRef = std::unique_ptr<CGContext>;

/// A cleared (transparent) bitmap. Fill and stroke colours start opaque
/// black, line width 1, antialiasing on, no shadow. Null when a side is not
/// positive, a side exceeds 16384 pixels, or the bitmap would exceed 64 Mpx.
CGContextRef CGBitmapContextCreate(int width, int height);

/// The bitmap as it stands. Cheap: the image takes the pixels over, and the
/// context copies them only if it is drawn into while the image still lives.
/// Null only when memory runs out.
CGImageRef CGBitmapContextCreateImage(CGContext& context);

/// From now on fills, strokes, text and images are laid down at `alpha`
/// times their own alpha (clamped to 0...1; 1 in a new context).
void CGContextSetAlpha(CGContext& context, CGFloat alpha);

/// Draws `image` (of another context) scaled into `rect`, at the context's
/// alpha, over what is there. No shadow.
void CGContextDrawImage(CGContext& context, const CGRect& rect, const CGImageRef& image);

/// Makes `rect` transparent. No shadow.
void CGContextClearRect(CGContext& context, const CGRect& rect);

/// Edges are antialiased only while both are on (the default).
void CGContextSetAllowsAntialiasing(CGContext& context, bool allows);
void CGContextSetShouldAntialias(CGContext& context, bool should);

void CGContextSetFillColorWithColor(CGContext& context, const CGColor& color);
void CGContextSetStrokeColorWithColor(CGContext& context, const CGColor& color);
/// Negative widths count as 0 (a stroke then draws nothing).
void CGContextSetLineWidth(CGContext& context, CGFloat width);

/// From now on each fill, stroke and text is drawn over a shadow of itself:
/// its alpha in `color`, moved by `offset` (y positive is up), blurred by a
/// gaussian of standard deviation blur / 2. No colour (or a clear one) turns
/// the shadow off.
void CGContextSetShadowWithColor(CGContext& context, CGSize offset, CGFloat blur,
                                 std::optional<CGColor> color);

/// Fills `rect` with the fill colour; the current path is left alone.
void CGContextFillRect(CGContext& context, const CGRect& rect);
/// Add the ellipse that fills `rect` to the current path, then fill or stroke
/// the whole path (which empties it).
void CGContextFillEllipseInRect(CGContext& context, const CGRect& rect);
void CGContextStrokeEllipseInRect(CGContext& context, const CGRect& rect);

/// Appends `path` to the current path.
void CGContextAddPath(CGContext& context, const CGPath& path);
/// Strokes the current path with the stroke colour and line width (butt caps,
/// mitre joins), then empties it.
void CGContextStrokePath(CGContext& context);
/// Fills the current path by the non-zero winding rule, then empties it.
void CGContextFillPath(CGContext& context);

} // namespace vantrel
