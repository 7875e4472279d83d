#include "platform/image/CIContext.h"

#include "platform/image/ImageRecipe.h"
#include "platform/image/PixelOps.h"
#include "platform/image/SubpixelScale.h"

#include <cmath>
#include <libyuv/scale_argb.h>
#include <memory>
#include <vector>

namespace vantrel {

using namespace image_recipe;
using pixel_ops::PixelRect;
using pixel_ops::Surface;

namespace {

// Transforms closer than this to whole pixels are taken as whole pixels, so
// that a bitmap placed at an integer offset is copied, not resampled.
constexpr double kPixelSnap = 1e-6;

// From this sigma (in output pixels) on, a blur is made at half resolution.
constexpr double kHalfResolutionBlurSigma = 4.0;

bool isWhole(double v) {
    return std::abs(v - std::round(v)) < kPixelSnap;
}

// Nothing, or nothing but a transparent colour (however cropped).
bool isClear(const Node* node) {
    while (node) {
        if (const auto* crop = std::get_if<Crop>(&node->operation)) {
            node = crop->input.get();
        } else if (const auto* color = std::get_if<Color>(&node->operation)) {
            return color->color.alpha <= 0;
        } else {
            return false;
        }
    }
    return true;
}

// Enlarged on both axes, and not merely moved: a bitmap moved at its own size
// stays on whole pixels, sharp.
bool isEnlargement(const CGAffineTransform& t) {
    return t.a >= 1 - kPixelSnap && t.d >= 1 - kPixelSnap &&
           (std::abs(t.a - 1) >= kPixelSnap || std::abs(t.d - 1) >= kPixelSnap);
}

Surface surfaceOf(CVPixelBuffer& buffer) {
    return {buffer.baseAddress(), buffer.bytesPerRow(), buffer.width(), buffer.height()};
}

// One leaf of a flattened recipe: a node that draws on its own, where it lands
// (the transform from its space into the surface's pixels) and what it may touch.
struct Layer {
    const Node* node;
    CGAffineTransform transform;
    CGRect clip;
};

enum class Mode { replace, over };

} // namespace

// Reusable memory for the surfaces that effects need. Scratch surfaces are
// taken and given back in stack order, and keep their memory between frames.
class CIContext::Renderer {
public:
    void render(const Node* root, const CGAffineTransform& transform, const Surface& surface,
                const PixelRect& clip) {
        renderInto(root, transform, surface, clip);
    }

private:
    struct ScratchSlot {
        std::vector<uint8_t> bytes;
        pixel_ops::BlurWork blur;
    };

    class Scratch {
    public:
        Scratch(Renderer& owner, int width, int height) : owner_(owner) {
            if (owner_.scratchDepth_ == owner_.slots_.size())
                owner_.slots_.push_back(std::make_unique<ScratchSlot>());
            slot_ = owner_.slots_[owner_.scratchDepth_++].get();
            const size_t stride = static_cast<size_t>(width) * 4;
            if (slot_->bytes.size() < stride * height) slot_->bytes.resize(stride * height);
            surface = {slot_->bytes.data(), stride, width, height};
        }
        ~Scratch() { --owner_.scratchDepth_; }
        pixel_ops::BlurWork& blurWork() { return slot_->blur; }
        Surface surface;

    private:
        Renderer& owner_;
        ScratchSlot* slot_;
    };

    // Writes every pixel of `clip`: the node over transparent.
    void renderInto(const Node* node, const CGAffineTransform& transform, const Surface& surface,
                    PixelRect clip) {
        clip = clip.intersection(surface.bounds());
        if (clip.isEmpty()) return;
        const size_t start = layers_.size();
        if (node) flatten(node, transform, CGRect(clip.x0, clip.y0, clip.width(), clip.height()));
        const size_t end = layers_.size();
        if (start == end) {
            pixel_ops::clear(surface, clip);
        } else {
            // The bottom layer is written straight in, and only what it leaves
            // uncovered is cleared: the full frame is touched once.
            const Layer bottom = layers_[start];
            const PixelRect covered = draw(bottom, surface, clip, Mode::replace);
            pixel_ops::clearAround(surface, clip, covered);
            for (size_t i = start + 1; i < end; ++i) {
                const Layer layer = layers_[i]; // a copy: drawing may grow the list
                draw(layer, surface, clip, Mode::over);
            }
        }
        layers_.resize(start);
    }

    void flatten(const Node* node, const CGAffineTransform& transform, const CGRect& clip) {
        if (clip.isEmpty()) return;
        if (const auto* over = std::get_if<Over>(&node->operation)) {
            flatten(over->bottom.get(), transform, clip);
            flatten(over->top.get(), transform, clip);
        } else if (const auto* crop = std::get_if<Crop>(&node->operation)) {
            flatten(crop->input.get(), transform, clip.intersection(transform.apply(crop->rect)));
        } else if (const auto* moved = std::get_if<Transform>(&node->operation)) {
            flatten(moved->input.get(), moved->transform.concatenating(transform), clip);
        } else {
            layers_.push_back({node, transform, clip});
        }
    }

    // Draws one layer; returns the pixels it wrote (in replace mode, the rest
    // of the clip is the caller's to clear).
    PixelRect draw(const Layer& layer, const Surface& surface, const PixelRect& clip, Mode mode) {
        const PixelRect area =
            pixel_ops::pixelsCoveredBy(layer.transform.apply(layer.node->extent).intersection(layer.clip))
                .intersection(clip);
        if (area.isEmpty()) return {};
        if (const auto* raster = std::get_if<Raster>(&layer.node->operation))
            return drawRaster(*raster, layer.transform, surface, area, mode);
        if (const auto* color = std::get_if<Color>(&layer.node->operation)) {
            const auto premultiplied = pixel_ops::premultiply(color->color);
            if (mode == Mode::replace)
                pixel_ops::fill(surface, area, premultiplied);
            else
                pixel_ops::blendColor(surface, area, premultiplied);
            return area;
        }
        Scratch effect(*this, area.width(), area.height());
        const CGAffineTransform toScratch =
            layer.transform.concatenating(CGAffineTransform::makeTranslation(-area.x0, -area.y0));
        renderEffect(*layer.node, toScratch, effect);
        if (mode == Mode::replace)
            pixel_ops::copyRect(effect.surface, surface, area.x0, area.y0, area);
        else
            pixel_ops::blendRect(effect.surface, surface, area.x0, area.y0, area);
        return area;
    }

    PixelRect drawRaster(const Raster& raster, const CGAffineTransform& t, const Surface& surface,
                         PixelRect area, Mode mode) {
        // Pictures are only ever moved and scaled up the right way; a mirror
        // has no meaning here.
        if (!(t.a > 0) || !(t.d > 0)) return {};
        const Surface source = surfaceOf(*raster.pixels);
        // A bitmap context's picture is clear beyond what was drawn on it (a
        // small ripple in its large square): nothing needs doing there.
        const CGRect inked = raster.keepAlive ? raster.keepAlive->inkedRect()
                                              : CGRect(0, 0, source.width, source.height);
        if (t.a == 1 && t.d == 1 && isWhole(t.tx) && isWhole(t.ty)) {
            const int ox = static_cast<int>(std::lround(t.tx)), oy = static_cast<int>(std::lround(t.ty));
            area = area.intersection({ox, oy, ox + source.width, oy + source.height})
                       .intersection(pixel_ops::pixelsCoveredBy(
                           CGRect(inked.minX() + ox, inked.minY() + oy, inked.width(), inked.height())));
            if (mode == Mode::replace)
                pixel_ops::copyRect(source, surface, ox, oy, area);
            else
                pixel_ops::blendRect(source, surface, ox, oy, area);
            return area;
        }
        // The whole source scaled lands on `placed`; only `area` of it is made.
        const PixelRect placed =
            pixel_ops::pixelsCoveredBy(t.apply(CGRect(0, 0, source.width, source.height)));
        // Bilinear samples reach half a pixel beyond the inked pixels.
        area = area.intersection(placed).intersection(
            pixel_ops::pixelsCoveredBy(t.apply(inked.insetBy(-1, -1))));
        if (area.isEmpty()) return {};
        if (isEnlargement(t)) {
            // A zoomed picture lands where it is, fractions of a pixel included,
            // so that a slow pan glides instead of standing still and jumping.
            if (mode == Mode::replace) {
                pixel_ops::scaleBilinear(source, {t.a, t.tx, t.d, t.ty}, surface, area, scaleWork_);
                return area;
            }
            Scratch scaled(*this, area.width(), area.height());
            pixel_ops::scaleBilinear(source, {t.a, t.tx - area.x0, t.d, t.ty - area.y0}, scaled.surface,
                                     scaled.surface.bounds(), scaleWork_);
            pixel_ops::blendRect(scaled.surface, surface, area.x0, area.y0, area);
            return area;
        }
        if (mode == Mode::replace) {
            scaleInto(source, placed, surface, area, 0, 0);
            return area;
        }
        Scratch scaled(*this, area.width(), area.height());
        scaleInto(source, placed, scaled.surface, area, area.x0, area.y0);
        pixel_ops::blendRect(scaled.surface, surface, area.x0, area.y0, area);
        return area;
    }

    // Bilinear scale of `source` onto the rectangle `placed` of a virtual
    // canvas, of which `target` receives the part `area` (target pixel (0,0)
    // being virtual pixel (shiftX, shiftY)).
    static void scaleInto(const Surface& source, const PixelRect& placed, const Surface& target,
                          const PixelRect& area, int shiftX, int shiftY) {
        const PixelRect onTarget{area.x0 - shiftX, area.y0 - shiftY, area.x1 - shiftX, area.y1 - shiftY};
        // libyuv counts rows from the top of the scaled picture.
        const int clipX = area.x0 - placed.x0;
        const int clipY = placed.y1 - area.y1;
        uint8_t* const areaTopLeft = target.at(onTarget.x0, onTarget.y1 - 1);
        uint8_t* const virtualTopLeft =
            areaTopLeft - static_cast<ptrdiff_t>(clipY) * static_cast<ptrdiff_t>(target.stride) -
            static_cast<ptrdiff_t>(clipX) * 4;
        libyuv::ARGBScaleClip(source.base, static_cast<int>(source.stride), source.width, source.height,
                              virtualTopLeft, static_cast<int>(target.stride), placed.width(),
                              placed.height(), clipX, clipY, area.width(), area.height(),
                              libyuv::kFilterBilinear);
    }

    void renderEffect(const Node& node, const CGAffineTransform& t, Scratch& out) {
        const PixelRect all = out.surface.bounds();
        if (const auto* matrix = std::get_if<AlphaMatrix>(&node.operation)) {
            renderInto(matrix->input.get(), t, out.surface, all);
            pixel_ops::applyAlphaVector(out.surface, matrix->alphaVector);
        } else if (const auto* masked = std::get_if<BlendWithMask>(&node.operation)) {
            renderInto(masked->input.get(), t, out.surface, all);
            Scratch mask(*this, all.width(), all.height());
            renderInto(masked->mask.get(), t, mask.surface, all);
            // A clear background (the rounded webcam picture's) needs no pixels of its own.
            if (isClear(masked->background.get())) {
                pixel_ops::blendWithMask(out.surface, nullptr, mask.surface);
            } else {
                Scratch background(*this, all.width(), all.height());
                renderInto(masked->background.get(), t, background.surface, all);
                pixel_ops::blendWithMask(out.surface, &background.surface, mask.surface);
            }
        } else if (const auto* blur = std::get_if<Blur>(&node.operation)) {
            // Blur a margin around the area too, so that what lies just
            // outside still bleeds in. The blur is round: a frame scaled
            // unevenly blurs by the mean of its two scales.
            const double sigma = blur->sigma * (t.a + std::abs(t.d)) / 2;
            if (sigma >= kHalfResolutionBlurSigma) return renderWideBlur(*blur->input, t, sigma, out);
            const int margin = std::max(pixel_ops::blurReach(sigma), static_cast<int>(std::ceil(3 * sigma)));
            const int mx = margin, my = margin;
            Scratch wide(*this, all.width() + 2 * mx, all.height() + 2 * my);
            renderInto(blur->input.get(), t.concatenating(CGAffineTransform::makeTranslation(mx, my)),
                       wide.surface, wide.surface.bounds());
            pixel_ops::gaussianBlur(wide.surface, sigma, wide.blurWork());
            pixel_ops::copyRect(wide.surface, out.surface, -mx, -my, all);
        } else {
            pixel_ops::clear(out.surface, all);
        }
    }

    // A wide blur is made at half the resolution, a quarter of the work, and
    // scaled back: nothing it keeps is finer than a pixel of the half picture.
    void renderWideBlur(const Node& input, const CGAffineTransform& t, double sigma, Scratch& out) {
        const PixelRect all = out.surface.bounds();
        const double halfSigma = sigma / 2;
        const int margin =
            std::max(pixel_ops::blurReach(halfSigma), static_cast<int>(std::ceil(3 * halfSigma)));
        Scratch half(*this, (all.width() + 1) / 2 + 2 * margin, (all.height() + 1) / 2 + 2 * margin);
        renderInto(&input,
                   t.concatenating(CGAffineTransform::makeScale(0.5, 0.5))
                       .concatenating(CGAffineTransform::makeTranslation(margin, margin)),
                   half.surface, half.surface.bounds());
        pixel_ops::gaussianBlur(half.surface, halfSigma, half.blurWork());
        const PixelRect placed{-2 * margin, -2 * margin, 2 * (half.surface.width - margin),
                               2 * (half.surface.height - margin)};
        scaleInto(half.surface, placed, out.surface, all, 0, 0);
    }

    std::vector<Layer> layers_;
    std::vector<std::unique_ptr<ScratchSlot>> slots_;
    pixel_ops::ScaleWork scaleWork_;
    size_t scratchDepth_ = 0;
};

CGColorSpaceRef CGColorSpaceCreateWithName(CGColorSpaceName name) {
    return std::make_shared<CGColorSpace>(name);
}

CGColorSpaceRef CGColorSpaceCreateDeviceRGB() {
    return std::make_shared<CGColorSpace>(CGColorSpaceName::deviceRGB);
}

CIContext::CIContext(CIContextOptions options)
    : options_(std::move(options)), renderer_(std::make_unique<Renderer>()) {}

CIContext::~CIContext() = default;

void CIContext::render(const CIImage& image, CVPixelBuffer& buffer, const CGRect& bounds,
                       const CGColorSpaceRef&) {
    const Surface surface = surfaceOf(buffer);
    const PixelRect clip{0, 0, static_cast<int>(std::floor(bounds.width())),
                         static_cast<int>(std::floor(bounds.height()))};
    renderer_->render(image.node().get(), CGAffineTransform::makeTranslation(-bounds.minX(), -bounds.minY()),
                      surface, clip);
}

CVPixelBufferRef CIContext::createPixelBuffer(const CIImage& image, const CGRect& bounds) {
    auto buffer = CVPixelBuffer::create(static_cast<int>(std::floor(bounds.width())),
                                        static_cast<int>(std::floor(bounds.height())));
    if (buffer) render(image, *buffer, bounds);
    return buffer;
}

} // namespace vantrel
