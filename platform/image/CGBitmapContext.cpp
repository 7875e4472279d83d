#include "platform/image/CGBitmapContext.h"

#include "platform/image/AlphaBlur.h"
#include "platform/image/BitmapMemory.h"
#include "platform/image/CGContextCairo.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>

namespace vantrel {

// Cairo's ARGB32 is premultiplied BGRA in memory only on little-endian machines.
static_assert(std::endian::native == std::endian::little);

using cg_cairo::DeviceBox;

namespace {
constexpr int kMaxSide = 16384;
constexpr long long kMaxPixels = 64LL * 1024 * 1024;

// Device coordinates far outside any bitmap, kept within what Cairo's fixed
// point and an int can hold.
constexpr double kFarOutside = 1 << 22;

// Sizes from broken arithmetic (NaN, infinities) draw nothing rather than
// reach Cairo or an int conversion.
CGFloat finiteOrZero(CGFloat value) {
    return std::isfinite(value) ? value : 0;
}

cairo_matrix_t yUpMatrix(const CGContext::State& state) {
    cairo_matrix_t matrix;
    cairo_matrix_init(&matrix, 1, 0, 0, -1, 0, state.height);
    return matrix;
}

cairo_antialias_t antialiasOf(const CGContext::State& state) {
    return state.antialiasing() ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE;
}

// Points the context at `bitmap`, which must be of the context's size.
bool attachBitmap(CGContext::State& state, bitmap_memory::Bitmap bitmap) {
    cairo_surface_t* surface =
        cairo_image_surface_create_for_data(bitmap.pixels->baseAddress(), CAIRO_FORMAT_ARGB32, state.width,
                                            state.height, static_cast<int>(bitmap.pixels->bytesPerRow()));
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface);
        return false;
    }
    cairo_t* cr = cairo_create(surface);
    const cairo_matrix_t matrix = yUpMatrix(state);
    cairo_set_matrix(cr, &matrix);

    if (state.cr) cairo_destroy(state.cr);
    if (state.surface) cairo_surface_destroy(state.surface);
    state.surface = surface;
    state.cr = cr;
    state.pixels = std::move(bitmap.pixels);
    state.drawn = std::move(bitmap.drawn);
    return true;
}

// An image handed out owns the pixels it was given: draw on in place only
// once it is gone, else on a copy.
bool prepareToDraw(CGContext::State& state) {
    if (!state.pixelsHandedOut) return true;
    if (state.pixels.use_count() == 1) {
        // Pairs with the release of the image's last reference, so that its
        // last reads come before these writes.
        std::atomic_thread_fence(std::memory_order_acquire);
        state.pixelsHandedOut = false;
        return true;
    }
    bitmap_memory::Bitmap copy = bitmap_memory::obtainClearedBitmap(state.width, state.height);
    if (!copy.pixels) return false;
    std::memcpy(copy.pixels->baseAddress(), state.pixels->baseAddress(),
                state.pixels->bytesPerRow() * state.height);
    *copy.drawn = *state.drawn;
    if (!attachBitmap(state, std::move(copy))) return false;
    state.pixelsHandedOut = false;
    return true;
}

void appendPath(cairo_t* cr, const CGPath& path) {
    for (const CGPathElement& element : path.elements()) {
        const auto& p = element.points;
        switch (element.type) {
        case CGPathElement::Type::moveToPoint:
            cairo_move_to(cr, p[0].x, p[0].y);
            break;
        case CGPathElement::Type::addLineToPoint:
            cairo_line_to(cr, p[0].x, p[0].y);
            break;
        case CGPathElement::Type::addCurveToPoint:
            cairo_curve_to(cr, p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y);
            break;
        case CGPathElement::Type::closeSubpath:
            cairo_close_path(cr);
            break;
        }
    }
}

DeviceBox boundsOf(const CGContext::State& state) {
    return {0, 0, state.width, state.height};
}

void markDrawn(CGContext::State& state, const DeviceBox& box) {
    *state.drawn = state.drawn->unionWith(box.intersection(boundsOf(state)));
}

bool shadowIsOn(const CGContext::State& state) {
    return state.shadowColor && state.shadowColor->alpha > 0;
}

// How far beyond a shape its shadow can reach, in pixels.
int shadowSpread(const CGContext::State& state) {
    if (!shadowIsOn(state)) return 0;
    const double offset = std::max(std::abs(state.shadowOffset.width), std::abs(state.shadowOffset.height));
    return alpha_blur::reachPixels(state.shadowBlur / 2) + static_cast<int>(std::min(offset, kFarOutside)) +
           2;
}

// The part of the plane where drawing can still show, shadows included.
CGRect drawableArea(const CGContext::State& state) {
    const int spread = shadowSpread(state);
    return CGRect(0, 0, state.width, state.height).insetBy(-spread, -spread);
}

// Working memory of shadows, kept per thread so that drawing a shadow
// allocates nothing once a thread has drawn one as large.
struct ShadowWork {
    std::vector<uint8_t> coverage;
    std::vector<uint8_t> plane;
    alpha_blur::BlurScratch blur;
};
ShadowWork& shadowWork() {
    thread_local ShadowWork work;
    return work;
}

// An alpha plane over `box` (device pixels) in `bytes`, cleared; null if
// Cairo cannot have it.
cairo_surface_t* clearedPlane(std::vector<uint8_t>& bytes, const cg_cairo::DeviceBox& box) {
    const int width = box.x1 - box.x0, height = box.y1 - box.y0;
    const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_A8, width);
    bytes.assign(static_cast<size_t>(stride) * height, 0);
    cairo_surface_t* plane =
        cairo_image_surface_create_for_data(bytes.data(), CAIRO_FORMAT_A8, width, height, stride);
    if (cairo_surface_status(plane) == CAIRO_STATUS_SUCCESS) return plane;
    cairo_surface_destroy(plane);
    return nullptr;
}

// Renders the shape with `draw` in `alpha` into `plane`, whose pixel (0, 0)
// is the device pixel `origin` moved back by the offset (dx, dy).
void drawIntoPlane(const CGContext::State& state, cairo_surface_t* plane, double alpha, double dx, double dy,
                   int originX, int originY, const std::function<void(cairo_t*)>& draw) {
    // The device offset moves the shape into the plane, so that `draw` can
    // use the same matrices as on the bitmap.
    cairo_surface_set_device_offset(plane, dx - originX, dy - originY);
    cairo_t* cr = cairo_create(plane);
    const cairo_matrix_t matrix = yUpMatrix(state);
    cairo_set_matrix(cr, &matrix);
    cairo_set_antialias(cr, antialiasOf(state));
    cairo_set_source_rgba(cr, 0, 0, 0, alpha);
    draw(cr);
    cairo_destroy(cr);
    cairo_surface_flush(plane);
    cairo_surface_set_device_offset(plane, 0, 0);
}

// Where the shadow of a shape with ink `ink` lies: the moved ink, grown by
// the blur (and a pixel for a fractional offset), and of it only what can
// reach the bitmap.
cg_cairo::DeviceBox shadowBox(const CGContext::State& state, const cg_cairo::DeviceBox& ink, double dx,
                              double dy) {
    const int reach = alpha_blur::reachPixels(state.shadowBlur / 2);
    const int margin = reach + 1;
    const cg_cairo::DeviceBox box{std::max(ink.x0 + static_cast<int>(std::floor(dx)) - margin, -reach),
                                  std::max(ink.y0 + static_cast<int>(std::floor(dy)) - margin, -reach),
                                  std::min(ink.x1 + static_cast<int>(std::ceil(dx)) + margin, state.width + reach),
                                  std::min(ink.y1 + static_cast<int>(std::ceil(dy)) + margin, state.height + reach)};
    return box.isEmpty() ? cg_cairo::DeviceBox{} : box;
}

double shadowDx(const CGContext::State& state) {
    return std::clamp(state.shadowOffset.width, -kFarOutside, kFarOutside);
}
double shadowDy(const CGContext::State& state) {
    return -std::clamp(state.shadowOffset.height, -kFarOutside, kFarOutside);
}

// Blurs the shape's alpha in `plane` (over `box`) and lays it in the shadow
// colour under where the shape goes.
void layShadow(CGContext::State& state, cairo_surface_t* plane, const cg_cairo::DeviceBox& box) {
    ShadowWork& work = shadowWork();
    alpha_blur::blurPlane(work.plane.data(), cairo_image_surface_get_stride(plane), box.x1 - box.x0,
                          box.y1 - box.y0, state.shadowBlur / 2, work.blur);
    cairo_surface_mark_dirty(plane);
    const CGColor& color = *state.shadowColor;
    cairo_save(state.cr);
    cairo_identity_matrix(state.cr);
    cairo_set_source_rgba(state.cr, color.red, color.green, color.blue, color.alpha);
    cairo_mask_surface(state.cr, plane, box.x0, box.y0);
    cairo_restore(state.cr);
}

// The shadow of a shape drawn anew into a plane of its own, offset and blurred.
void paintShadow(CGContext::State& state, double shapeAlpha, const cg_cairo::DeviceBox& ink,
                 const std::function<void(cairo_t*)>& draw) {
    const double dx = shadowDx(state), dy = shadowDy(state);
    const cg_cairo::DeviceBox box = shadowBox(state, ink, dx, dy);
    if (box.isEmpty()) return;
    markDrawn(state, box);
    cairo_surface_t* plane = clearedPlane(shadowWork().plane, box);
    if (!plane) return;
    drawIntoPlane(state, plane, shapeAlpha, dx, dy, box.x0, box.y0, draw);
    layShadow(state, plane, box);
    cairo_surface_destroy(plane);
}

// x · y / 255, rounded, as Pixman composes alpha.
uint8_t multiplyAlpha(unsigned x, unsigned y) {
    const unsigned t = x * y + 128;
    return static_cast<uint8_t>((t + (t >> 8)) >> 8);
}

// With a shadow moved by whole pixels, the shape is rasterised once: its
// coverage makes the shadow (moved and in the shape's alpha, as Cairo would
// draw it there) and then the shape itself through it as a mask, which is
// pixel for pixel what drawing it gives. A shape with a glow costs one path
// rasterisation instead of two. Returns false where that cannot be done.
bool paintWithShadowFromCoverage(CGContext::State& state, const CGColor& color, const cg_cairo::DeviceBox& ink,
                                 const std::function<void(cairo_t*)>& draw) {
    const double dx = shadowDx(state), dy = shadowDy(state);
    if (dx != std::floor(dx) || dy != std::floor(dy)) return false;
    const int ox = static_cast<int>(dx), oy = static_cast<int>(dy);
    // The coverage that shows: on the bitmap, or where its shadow reaches the bitmap.
    const cg_cairo::DeviceBox shadow = shadowBox(state, ink, dx, dy);
    const cg_cairo::DeviceBox shown = cg_cairo::DeviceBox{0, 0, state.width, state.height}.unionWith(
        {shadow.x0 - ox, shadow.y0 - oy, shadow.x1 - ox, shadow.y1 - oy});
    const cg_cairo::DeviceBox box = ink.intersection(shown);
    if (box.isEmpty() || shadow.isEmpty()) return true;

    ShadowWork& work = shadowWork();
    cairo_surface_t* coverage = clearedPlane(work.coverage, box);
    if (!coverage) return false;
    drawIntoPlane(state, coverage, 1.0, 0, 0, box.x0, box.y0, draw);
    cairo_surface_t* plane = clearedPlane(work.plane, shadow);
    if (!plane) {
        cairo_surface_destroy(coverage);
        return false;
    }
    markDrawn(state, shadow);
    // Cairo lays a colour down in 16 bits and composes it in the top 8.
    const unsigned alpha = static_cast<unsigned>(color.alpha * 65535.0 + 0.5) >> 8;
    const int coverageStride = cairo_image_surface_get_stride(coverage);
    const int planeStride = cairo_image_surface_get_stride(plane);
    const cg_cairo::DeviceBox moved =
        cg_cairo::DeviceBox{box.x0 + ox, box.y0 + oy, box.x1 + ox, box.y1 + oy}.intersection(shadow);
    for (int y = moved.y0; y < moved.y1; ++y) {
        const uint8_t* from = work.coverage.data() + static_cast<size_t>(y - oy - box.y0) * coverageStride +
                              (moved.x0 - ox - box.x0);
        uint8_t* to = work.plane.data() + static_cast<size_t>(y - shadow.y0) * planeStride + (moved.x0 - shadow.x0);
        for (int x = 0; x < moved.x1 - moved.x0; ++x)
            to[x] = multiplyAlpha(from[x], alpha);
    }
    layShadow(state, plane, shadow);
    cairo_surface_destroy(plane);

    markDrawn(state, ink);
    cairo_save(state.cr);
    cairo_identity_matrix(state.cr);
    cairo_set_source_rgba(state.cr, color.red, color.green, color.blue, color.alpha);
    cairo_mask_surface(state.cr, coverage, box.x0, box.y0);
    cairo_restore(state.cr);
    cairo_surface_destroy(coverage);
    return true;
}

cg_cairo::DeviceBox inkOfPath(CGContext::State& state, const CGPath& path, bool stroked) {
    cairo_t* cr = state.cr;
    cairo_new_path(cr);
    appendPath(cr, path);
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    if (stroked) {
        cairo_set_line_width(cr, state.lineWidth);
        cairo_stroke_extents(cr, &x0, &y0, &x1, &y1);
    } else {
        cairo_fill_extents(cr, &x0, &y0, &x1, &y1);
    }
    cairo_new_path(cr);
    if (x1 <= x0 || y1 <= y0) return {};
    // One more pixel for antialiased edges.
    return cg_cairo::deviceBoxOf(state, CGRect(x0, y0, x1 - x0, y1 - y0), 1);
}

void paintPath(CGContext::State& state, const CGPath& path, bool stroked) {
    if (path.isEmpty()) return;
    if (stroked && state.lineWidth <= 0) return;
    const CGColor& color = stroked ? state.strokeColor : state.fillColor;
    if (color.alpha <= 0) return;
    const cg_cairo::DeviceBox ink = inkOfPath(state, path, stroked);
    const CGFloat lineWidth = state.lineWidth;
    cg_cairo::paintShape(state, color, ink, [&](cairo_t* cr) {
        appendPath(cr, path);
        if (stroked) {
            cairo_set_line_width(cr, lineWidth);
            cairo_set_line_cap(cr, CAIRO_LINE_CAP_BUTT);
            cairo_set_line_join(cr, CAIRO_LINE_JOIN_MITER);
            cairo_stroke(cr);
        } else {
            cairo_set_fill_rule(cr, CAIRO_FILL_RULE_WINDING);
            cairo_fill(cr);
        }
    });
}

} // namespace

CGContext::State::~State() {
    if (cr) cairo_destroy(cr);
    if (surface) cairo_surface_destroy(surface);
}

CGContext::CGContext(std::unique_ptr<State> state) : state_(std::move(state)) {}
CGContext::~CGContext() = default;
int CGContext::width() const {
    return state_->width;
}
int CGContext::height() const {
    return state_->height;
}

namespace cg_cairo {

DeviceBox deviceBoxOf(const CGContext::State& state, const CGRect& rect, int margin) {
    if (rect.isNull() || std::isnan(rect.minX() + rect.maxX() + rect.minY() + rect.maxY())) return {};
    const auto bound = [](double v) { return static_cast<int>(std::clamp(v, -kFarOutside, kFarOutside)); };
    return {bound(std::floor(rect.minX())) - margin, bound(std::floor(state.height - rect.maxY())) - margin,
            bound(std::ceil(rect.maxX())) + margin, bound(std::ceil(state.height - rect.minY())) + margin};
}

void paintShape(CGContext::State& state, const CGColor& ownColor, const DeviceBox& ink,
                const std::function<void(cairo_t*)>& draw) {
    const CGColor color = ownColor.withAlphaComponent(ownColor.alpha * state.alpha);
    if (color.alpha <= 0 || ink.isEmpty()) return;
    if (!prepareToDraw(state)) return;
    if (shadowIsOn(state) && paintWithShadowFromCoverage(state, color, ink, draw)) return;
    if (shadowIsOn(state)) paintShadow(state, color.alpha, ink, draw);
    markDrawn(state, ink);

    cairo_t* cr = state.cr;
    cairo_save(cr);
    cairo_set_antialias(cr, antialiasOf(state));
    cairo_set_source_rgba(cr, color.red, color.green, color.blue, color.alpha);
    draw(cr);
    cairo_restore(cr);
}

} // namespace cg_cairo

CGContextRef CGBitmapContextCreate(int width, int height) {
    if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide) return nullptr;
    if (static_cast<long long>(width) * height > kMaxPixels) return nullptr;
    bitmap_memory::Bitmap bitmap = bitmap_memory::obtainClearedBitmap(width, height);
    if (!bitmap.pixels) return nullptr;

    auto state = std::make_unique<CGContext::State>();
    state->width = width;
    state->height = height;
    if (!attachBitmap(*state, std::move(bitmap))) return nullptr;
    return std::make_unique<CGContext>(std::move(state));
}

CGImageRef CGBitmapContextCreateImage(CGContext& context) {
    CGContext::State& state = context.state();
    cairo_surface_flush(state.surface);
    state.pixelsHandedOut = true;
    // What was never drawn on is clear: whoever draws the image may skip it.
    const DeviceBox inked = state.drawn->intersection(boundsOf(state));
    return std::make_shared<const CGImage>(
        state.pixels, CGRect(inked.x0, state.height - inked.y1, inked.x1 - inked.x0, inked.y1 - inked.y0));
}

void CGContextSetAlpha(CGContext& context, CGFloat alpha) {
    context.state().alpha = std::clamp(finiteOrZero(alpha), 0.0, 1.0);
}

void CGContextDrawImage(CGContext& context, const CGRect& rect, const CGImageRef& image) {
    CGContext::State& state = context.state();
    if (!image || rect.isEmpty() || !(state.alpha > 0)) return;
    const DeviceBox ink = cg_cairo::deviceBoxOf(state, rect, 1).intersection(boundsOf(state));
    if (ink.isEmpty() || !prepareToDraw(state)) return;
    const CVPixelBuffer& pixels = image->pixels();
    // Cairo only reads a source surface.
    cairo_surface_t* source = cairo_image_surface_create_for_data(
        const_cast<uint8_t*>(pixels.baseAddress()), CAIRO_FORMAT_ARGB32, pixels.width(), pixels.height(),
        static_cast<int>(pixels.bytesPerRow()));
    if (cairo_surface_status(source) == CAIRO_STATUS_SUCCESS) {
        markDrawn(state, ink);
        cairo_t* cr = state.cr;
        cairo_save(cr);
        // The image's top row goes to the top of `rect`, in device space (y down).
        cairo_identity_matrix(cr);
        cairo_translate(cr, rect.minX(), state.height - rect.maxY());
        cairo_scale(cr, rect.width() / pixels.width(), rect.height() / pixels.height());
        cairo_set_source_surface(cr, source, 0, 0);
        cairo_paint_with_alpha(cr, state.alpha);
        cairo_restore(cr);
    }
    cairo_surface_destroy(source);
}

void CGContextClearRect(CGContext& context, const CGRect& rect) {
    CGContext::State& state = context.state();
    const CGRect area = rect.intersection(CGRect(0, 0, state.width, state.height));
    if (area.isEmpty()) return;
    // Only drawn pixels can need clearing: a new context is clear already.
    const DeviceBox touched = cg_cairo::deviceBoxOf(state, area, 0).intersection(*state.drawn);
    if (touched.isEmpty() || !prepareToDraw(state)) return;
    // Pixels outside `touched` are clear: its edges cut whole pixels.
    const CGRect work = area.intersection(
        CGRect(touched.x0, state.height - touched.y1, touched.x1 - touched.x0, touched.y1 - touched.y0));
    cairo_t* cr = state.cr;
    cairo_save(cr);
    cairo_set_antialias(cr, antialiasOf(state));
    cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
    cairo_rectangle(cr, work.minX(), work.minY(), work.width(), work.height());
    cairo_fill(cr);
    cairo_restore(cr);
    // Pixels wholly inside the area are clear now.
    const DeviceBox cleared{
        static_cast<int>(std::ceil(area.minX())), static_cast<int>(std::ceil(state.height - area.maxY())),
        static_cast<int>(std::floor(area.maxX())), static_cast<int>(std::floor(state.height - area.minY()))};
    if (cleared.contains(*state.drawn)) *state.drawn = {};
}

void CGContextSetAllowsAntialiasing(CGContext& context, bool allows) {
    context.state().allowsAntialiasing = allows;
}

void CGContextSetShouldAntialias(CGContext& context, bool should) {
    context.state().shouldAntialias = should;
}

void CGContextSetFillColorWithColor(CGContext& context, const CGColor& color) {
    context.state().fillColor = color;
}

void CGContextSetStrokeColorWithColor(CGContext& context, const CGColor& color) {
    context.state().strokeColor = color;
}

void CGContextSetLineWidth(CGContext& context, CGFloat width) {
    context.state().lineWidth = finiteOrZero(std::max(width, 0.0));
}

void CGContextSetShadowWithColor(CGContext& context, CGSize offset, CGFloat blur,
                                 std::optional<CGColor> color) {
    CGContext::State& state = context.state();
    state.shadowOffset = {finiteOrZero(offset.width), finiteOrZero(offset.height)};
    state.shadowBlur = finiteOrZero(std::max(blur, 0.0));
    state.shadowColor = color;
}

void CGContextFillRect(CGContext& context, const CGRect& rect) {
    const CGRect area = rect.intersection(drawableArea(context.state()));
    if (area.isEmpty()) return;
    paintPath(context.state(), CGPathCreateWithRect(area), false);
}

void CGContextFillEllipseInRect(CGContext& context, const CGRect& rect) {
    CGContextAddPath(context, CGPathCreateWithEllipseInRect(rect));
    CGContextFillPath(context);
}

void CGContextStrokeEllipseInRect(CGContext& context, const CGRect& rect) {
    CGContextAddPath(context, CGPathCreateWithEllipseInRect(rect));
    CGContextStrokePath(context);
}

void CGContextAddPath(CGContext& context, const CGPath& path) {
    context.state().currentPath.addPath(path);
}

void CGContextStrokePath(CGContext& context) {
    CGContext::State& state = context.state();
    const CGPath path = std::move(state.currentPath);
    state.currentPath = CGPath();
    paintPath(state, path, true);
}

void CGContextFillPath(CGContext& context) {
    CGContext::State& state = context.state();
    const CGPath path = std::move(state.currentPath);
    state.currentPath = CGPath();
    paintPath(state, path, false);
}

} // namespace vantrel
