#include "platform/image/AttributedText.h"

#include "platform/image/CGContextCairo.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <pango/pangocairo.h>

namespace vantrel {

namespace {
// The face fontconfig resolves to the desktop's default sans-serif.
constexpr const char* kSystemFontFamily = "sans-serif";
// Larger sizes would overflow Pango's fixed-point units in long strings.
constexpr CGFloat kLargestFontSize = 4096;

// Pango's font maps may not be shared between threads here, and setting one
// up costs far more than a layout: each thread keeps its own for its life.
// Measuring and drawing use the same unhinted options, so that a text
// measured at one width draws in that width.
class ThreadTextContext {
public:
    ThreadTextContext()
        : fontMap_(pango_cairo_font_map_new()), context_(pango_font_map_create_context(fontMap_)),
          options_(cairo_font_options_create()) {
        cairo_font_options_set_hint_style(options_, CAIRO_HINT_STYLE_NONE);
        cairo_font_options_set_hint_metrics(options_, CAIRO_HINT_METRICS_OFF);
        applyAntialiasing(true);
    }
    ThreadTextContext(const ThreadTextContext&) = delete;
    ThreadTextContext& operator=(const ThreadTextContext&) = delete;
    ~ThreadTextContext() {
        cairo_font_options_destroy(options_);
        g_object_unref(context_);
        g_object_unref(fontMap_);
    }

    PangoContext* context(bool antialiasing) {
        if (antialiasing != antialiasing_) applyAntialiasing(antialiasing);
        return context_;
    }

private:
    void applyAntialiasing(bool antialiasing) {
        antialiasing_ = antialiasing;
        cairo_font_options_set_antialias(options_,
                                         antialiasing ? CAIRO_ANTIALIAS_GRAY : CAIRO_ANTIALIAS_NONE);
        pango_cairo_context_set_font_options(context_, options_);
    }

    PangoFontMap* fontMap_;
    PangoContext* context_;
    cairo_font_options_t* options_;
    bool antialiasing_ = true;
};

PangoContext* threadContext(bool antialiasing) {
    thread_local ThreadTextContext textContext;
    return textContext.context(antialiasing);
}

struct LayoutDeleter {
    void operator()(PangoLayout* layout) const { g_object_unref(layout); }
};
using LayoutHandle = std::unique_ptr<PangoLayout, LayoutDeleter>;

PangoWeight pangoWeight(NSFontWeight weight) {
    switch (weight) {
    case NSFontWeight::regular:
        return PANGO_WEIGHT_NORMAL;
    case NSFontWeight::medium:
        return PANGO_WEIGHT_MEDIUM;
    case NSFontWeight::semibold:
        return PANGO_WEIGHT_SEMIBOLD;
    case NSFontWeight::bold:
        return PANGO_WEIGHT_BOLD;
    }
    return PANGO_WEIGHT_NORMAL;
}

bool hasDrawableSize(const NSFont& font) {
    return font.pointSize > 0 && std::isfinite(font.pointSize);
}

// A layout of the whole string, not yet limited in width.
LayoutHandle makeLayout(PangoContext* context, const std::string& text, const NSFont& font) {
    LayoutHandle layout(pango_layout_new(context));
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) {
        pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
    } else {
        gchar* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
        pango_layout_set_text(layout.get(), valid, -1);
        g_free(valid);
    }

    PangoFontDescription* description = pango_font_description_new();
    pango_font_description_set_family_static(description, kSystemFontFamily);
    pango_font_description_set_weight(description, pangoWeight(font.weight));
    pango_font_description_set_absolute_size(description,
                                             std::min(font.pointSize, kLargestFontSize) * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), description);
    pango_font_description_free(description);
    return layout;
}

PangoAlignment pangoAlignment(NSTextAlignment alignment) {
    switch (alignment) {
    case NSTextAlignment::center:
        return PANGO_ALIGN_CENTER;
    case NSTextAlignment::right:
        return PANGO_ALIGN_RIGHT;
    default:
        return PANGO_ALIGN_LEFT;
    }
}

// Limits the layout to `width` as the paragraph style says. Returns how far
// to move the layout right: clipped lines are not wrapped, so Pango has no
// width to align them in, and the whole block is aligned here instead.
double fitToWidth(PangoLayout* layout, double width, const NSParagraphStyle& style) {
    const NSLineBreakMode mode = style.lineBreakMode;
    if (mode == NSLineBreakMode::byClipping) {
        PangoRectangle logical;
        pango_layout_get_extents(layout, nullptr, &logical);
        const double spare = width - static_cast<double>(logical.width) / PANGO_SCALE;
        if (style.alignment == NSTextAlignment::center) return spare / 2;
        if (style.alignment == NSTextAlignment::right) return spare;
        return 0;
    }

    // Rounded up, so that a width measured by size() holds its text unbroken.
    pango_layout_set_width(layout, static_cast<int>(std::ceil(std::min(width, 1e6) * PANGO_SCALE)));
    pango_layout_set_alignment(layout, pangoAlignment(style.alignment));
    pango_layout_set_justify(layout, style.alignment == NSTextAlignment::justified);
    switch (mode) {
    case NSLineBreakMode::byWordWrapping:
        pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
        break;
    case NSLineBreakMode::byCharWrapping:
        pango_layout_set_wrap(layout, PANGO_WRAP_CHAR);
        break;
    case NSLineBreakMode::byTruncatingHead:
        pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_START);
        break;
    case NSLineBreakMode::byTruncatingTail:
        pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
        break;
    case NSLineBreakMode::byTruncatingMiddle:
        pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_MIDDLE);
        break;
    case NSLineBreakMode::byClipping:
        break;
    }
    return 0;
}

} // namespace

NSAttributedString::NSAttributedString(std::string string, NSStringAttributes attributes)
    : string_(std::move(string)), attributes_(attributes) {}

CGSize NSAttributedString::size() const {
    if (!hasDrawableSize(attributes_.font)) return {};
    LayoutHandle layout = makeLayout(threadContext(true), string_, attributes_.font);
    PangoRectangle logical;
    pango_layout_get_extents(layout.get(), nullptr, &logical);
    return {static_cast<double>(logical.width) / PANGO_SCALE,
            static_cast<double>(logical.height) / PANGO_SCALE};
}

int NSAttributedString::missingGlyphCount() const {
    if (string_.empty() || !hasDrawableSize(attributes_.font)) return 0;
    LayoutHandle layout = makeLayout(threadContext(true), string_, attributes_.font);
    return pango_layout_get_unknown_glyphs_count(layout.get());
}

void NSAttributedString::drawInRect(CGContext& context, const CGRect& rect) const {
    const bool finite = std::isfinite(rect.minX() + rect.maxX() + rect.minY() + rect.maxY());
    if (string_.empty() || !finite || rect.isEmpty() || !hasDrawableSize(attributes_.font)) return;
    CGContext::State& state = context.state();
    LayoutHandle layout = makeLayout(threadContext(state.antialiasing()), string_, attributes_.font);
    const double shift = fitToWidth(layout.get(), rect.width(), attributes_.paragraphStyle);

    // Pango lays out y-down from the top-left corner: draw in device space.
    const double left = rect.minX();
    const double top = state.height - rect.maxY();
    const cg_cairo::DeviceBox ink = cg_cairo::deviceBoxOf(state, rect, 1);
    PangoLayout* shown = layout.get();
    cg_cairo::paintShape(state, attributes_.foregroundColor, ink, [&](cairo_t* cr) {
        cairo_identity_matrix(cr);
        cairo_rectangle(cr, left, top, rect.width(), rect.height());
        cairo_clip(cr);
        cairo_move_to(cr, left + shift, top);
        pango_cairo_show_layout(cr, shown);
    });
}

} // namespace vantrel

#if defined(__SANITIZE_ADDRESS__)
// Fontconfig keeps pieces of its parsed configuration past exit, unreachable
// (it does so once per process, when Pango first loads it). Leak checks in
// sanitizer builds would blame every program that draws text.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}
#endif
