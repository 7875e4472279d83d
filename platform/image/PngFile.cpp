#include "platform/image/PngFile.h"

#include <bit>
#include <cairo.h>
#include <cstring>
#include <memory>

namespace vantrel {

// Cairo's ARGB32 is BGRA in memory only on little-endian machines.
static_assert(std::endian::native == std::endian::little);

namespace {
struct SurfaceDeleter {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using SurfaceHandle = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;

// Cairo hands back RGB24 for PNGs without alpha, whose fourth byte is
// undefined; painting it onto an ARGB32 surface makes it opaque.
SurfaceHandle asPremultipliedBgra(SurfaceHandle surface) {
    if (cairo_image_surface_get_format(surface.get()) == CAIRO_FORMAT_ARGB32) return surface;
    const int width = cairo_image_surface_get_width(surface.get());
    const int height = cairo_image_surface_get_height(surface.get());
    SurfaceHandle converted(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    if (cairo_surface_status(converted.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
    cairo_t* cr = cairo_create(converted.get());
    cairo_set_source_surface(cr, surface.get(), 0, 0);
    cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    cairo_paint(cr);
    cairo_destroy(cr);
    cairo_surface_flush(converted.get());
    return converted;
}
} // namespace

CVPixelBufferRef readPngFile(const std::filesystem::path& path) {
    SurfaceHandle loaded(cairo_image_surface_create_from_png(path.c_str()));
    if (cairo_surface_status(loaded.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
    SurfaceHandle surface = asPremultipliedBgra(std::move(loaded));
    if (!surface) return nullptr;

    const int width = cairo_image_surface_get_width(surface.get());
    const int height = cairo_image_surface_get_height(surface.get());
    CVPixelBufferRef buffer = CVPixelBuffer::create(width, height);
    if (!buffer) return nullptr;
    const uint8_t* source = cairo_image_surface_get_data(surface.get());
    const size_t sourceStride = static_cast<size_t>(cairo_image_surface_get_stride(surface.get()));
    for (int y = 0; y < height; ++y) {
        std::memcpy(buffer->row(y), source + y * sourceStride, static_cast<size_t>(width) * 4);
    }
    return buffer;
}

bool writePngFile(const CVPixelBuffer& pixels, const std::filesystem::path& path) {
    // Cairo's ARGB32 is premultiplied BGRA in memory on little-endian
    // machines, so the buffer serves as the surface as it is. The writer
    // un-premultiplies a copy of each row; the pixels are only read.
    SurfaceHandle surface(cairo_image_surface_create_for_data(
        const_cast<uint8_t*>(pixels.baseAddress()), CAIRO_FORMAT_ARGB32, pixels.width(), pixels.height(),
        static_cast<int>(pixels.bytesPerRow())));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return false;
    return cairo_surface_write_to_png(surface.get(), path.c_str()) == CAIRO_STATUS_SUCCESS;
}

} // namespace vantrel
