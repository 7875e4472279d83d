#include "platform/image/PixelOps.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#ifdef __SSE2__
#include <immintrin.h>
#endif

namespace vantrel::pixel_ops {

namespace {

// x / 255, rounded, for x in [0, 255 * 255].
inline uint8_t div255(unsigned x) {
    return static_cast<uint8_t>((x + 128 + ((x + 128) >> 8)) >> 8);
}

inline uint8_t toByte(double unit) {
    return static_cast<uint8_t>(std::lround(std::clamp(unit, 0.0, 1.0) * 255));
}

inline void blendPixel(const uint8_t* s, uint8_t* d) {
    const unsigned alpha = s[3];
    if (alpha == 255) {
        std::memcpy(d, s, 4);
    } else if (alpha != 0) {
        const unsigned keep = 255 - alpha;
        d[0] = static_cast<uint8_t>(s[0] + div255(d[0] * keep));
        d[1] = static_cast<uint8_t>(s[1] + div255(d[1] * keep));
        d[2] = static_cast<uint8_t>(s[2] + div255(d[2] * keep));
        d[3] = static_cast<uint8_t>(alpha + div255(d[3] * keep));
    }
}

#ifdef __SSE2__
// dst · keep / 255, rounded, in 16-bit lanes.
__attribute__((target("avx2"))) inline __m256i scaledAvx2(__m256i dst16, __m256i keep16, __m256i half) {
    const __m256i x = _mm256_add_epi16(_mm256_mullo_epi16(dst16, keep16), half);
    return _mm256_srli_epi16(_mm256_add_epi16(x, _mm256_srli_epi16(x, 8)), 8);
}

// Eight pixels at a time, the same sums as the SSE2 loop below (unpacking
// and packing work within each 128-bit half, so the order holds). Returns
// how many pixels it did.
__attribute__((target("avx2"))) int blendRowAvx2(const uint8_t* source, uint8_t* destination, int count) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i half = _mm256_set1_epi16(128);
    const __m256i opaque = _mm256_set1_epi8(static_cast<char>(0xFF));
    const __m256i alphaBytes = _mm256_set1_epi32(static_cast<int>(0x80000000u));
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source + 4 * i));
        if (_mm256_testz_si256(s, s)) continue; // nothing to lay down
        if (_mm256_testc_si256(_mm256_cmpeq_epi8(s, opaque), alphaBytes)) { // covers all eight
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + 4 * i), s);
            continue;
        }
        const __m256i d = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(destination + 4 * i));
        __m256i alpha = _mm256_srli_epi32(s, 24);
        alpha = _mm256_or_si256(alpha, _mm256_slli_epi32(alpha, 8));
        alpha = _mm256_or_si256(alpha, _mm256_slli_epi32(alpha, 16));
        const __m256i keep = _mm256_xor_si256(alpha, opaque);
        const __m256i low = scaledAvx2(_mm256_unpacklo_epi8(d, zero), _mm256_unpacklo_epi8(keep, zero), half);
        const __m256i high = scaledAvx2(_mm256_unpackhi_epi8(d, zero), _mm256_unpackhi_epi8(keep, zero), half);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + 4 * i),
                            _mm256_adds_epu8(s, _mm256_packus_epi16(low, high)));
    }
    return i;
}
#endif

// Premultiplied `source` over `destination` for `count` pixels. Eight or
// four at a time with AVX2 or SSE2, giving exactly what blendPixel gives
// one at a time.
void blendRow(const uint8_t* source, uint8_t* destination, int count) {
    int i = 0;
#ifdef __SSE2__
    static const bool hasAvx2 = __builtin_cpu_supports("avx2");
    if (hasAvx2) i = blendRowAvx2(source, destination, count);
    const __m128i zero = _mm_setzero_si128();
    const __m128i half = _mm_set1_epi16(128);
    const __m128i opaque = _mm_set1_epi8(static_cast<char>(0xFF));
    for (; i + 4 <= count; i += 4) {
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + 4 * i));
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(s, zero)) == 0xFFFF) continue; // nothing to lay down
        if ((_mm_movemask_epi8(_mm_cmpeq_epi8(s, opaque)) & 0x8888) == 0x8888) { // covers all four
            _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + 4 * i), s);
            continue;
        }
        const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(destination + 4 * i));
        __m128i alpha = _mm_srli_epi32(s, 24);
        alpha = _mm_or_si128(alpha, _mm_slli_epi32(alpha, 8));
        alpha = _mm_or_si128(alpha, _mm_slli_epi32(alpha, 16));
        const __m128i keep = _mm_xor_si128(alpha, _mm_set1_epi8(static_cast<char>(0xFF)));
        auto scaled = [&](__m128i dst16, __m128i keep16) {
            const __m128i x = _mm_add_epi16(_mm_mullo_epi16(dst16, keep16), half);
            return _mm_srli_epi16(_mm_add_epi16(x, _mm_srli_epi16(x, 8)), 8);
        };
        const __m128i low = scaled(_mm_unpacklo_epi8(d, zero), _mm_unpacklo_epi8(keep, zero));
        const __m128i high = scaled(_mm_unpackhi_epi8(d, zero), _mm_unpackhi_epi8(keep, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + 4 * i),
                         _mm_adds_epu8(s, _mm_packus_epi16(low, high)));
    }
#endif
    for (; i < count; ++i)
        blendPixel(source + 4 * i, destination + 4 * i);
}

} // namespace

PixelRect PixelRect::intersection(const PixelRect& other) const {
    PixelRect r{std::max(x0, other.x0), std::max(y0, other.y0), std::min(x1, other.x1),
                std::min(y1, other.y1)};
    if (r.isEmpty()) return {};
    return r;
}

PixelRect pixelsCoveredBy(const CGRect& rect) {
    if (rect.isEmpty()) return {};
    // Big enough for any frame, small enough that int arithmetic never overflows.
    constexpr double kLimit = 1 << 28;
    auto edge = [&](double v) { return static_cast<int>(std::floor(std::clamp(v, -kLimit, kLimit) + 0.5)); };
    PixelRect r{edge(rect.minX()), edge(rect.minY()), edge(rect.maxX()), edge(rect.maxY())};
    if (r.isEmpty()) return {};
    return r;
}

Premultiplied premultiply(const CIColor& color) {
    const double a = std::clamp(color.alpha, 0.0, 1.0);
    return {toByte(color.blue * a), toByte(color.green * a), toByte(color.red * a), toByte(a)};
}

void clear(const Surface& surface, const PixelRect& rect) {
    const PixelRect r = rect.intersection(surface.bounds());
    for (int y = r.y0; y < r.y1; ++y)
        std::memset(surface.at(r.x0, y), 0, 4 * static_cast<size_t>(r.width()));
}

void clearAround(const Surface& surface, const PixelRect& outer, const PixelRect& inner) {
    const PixelRect in = inner.intersection(outer);
    if (in.isEmpty()) return clear(surface, outer);
    clear(surface, {outer.x0, outer.y0, outer.x1, in.y0});
    clear(surface, {outer.x0, in.y1, outer.x1, outer.y1});
    clear(surface, {outer.x0, in.y0, in.x0, in.y1});
    clear(surface, {in.x1, in.y0, outer.x1, in.y1});
}

void fill(const Surface& surface, const PixelRect& rect, Premultiplied color) {
    const PixelRect r = rect.intersection(surface.bounds());
    const uint8_t px[4] = {color.b, color.g, color.r, color.a};
    for (int y = r.y0; y < r.y1; ++y) {
        uint8_t* d = surface.at(r.x0, y);
        for (int x = 0; x < r.width(); ++x)
            std::memcpy(d + 4 * x, px, 4);
    }
}

void blendColor(const Surface& surface, const PixelRect& rect, Premultiplied color) {
    if (color.a == 255) return fill(surface, rect, color);
    if (color.a == 0 && color.r == 0 && color.g == 0 && color.b == 0) return;
    const PixelRect r = rect.intersection(surface.bounds());
    const uint8_t px[4] = {color.b, color.g, color.r, color.a};
    for (int y = r.y0; y < r.y1; ++y) {
        uint8_t* d = surface.at(r.x0, y);
        for (int x = 0; x < r.width(); ++x)
            blendPixel(px, d + 4 * x);
    }
}

void copyRect(const Surface& source, const Surface& destination, int originX, int originY,
              const PixelRect& rect) {
    const PixelRect placed{originX, originY, originX + source.width, originY + source.height};
    const PixelRect r = rect.intersection(destination.bounds()).intersection(placed);
    for (int y = r.y0; y < r.y1; ++y)
        std::memcpy(destination.at(r.x0, y), source.at(r.x0 - originX, y - originY),
                    4 * static_cast<size_t>(r.width()));
}

void blendRect(const Surface& source, const Surface& destination, int originX, int originY,
               const PixelRect& rect) {
    const PixelRect placed{originX, originY, originX + source.width, originY + source.height};
    const PixelRect r = rect.intersection(destination.bounds()).intersection(placed);
    for (int y = r.y0; y < r.y1; ++y)
        blendRow(source.at(r.x0 - originX, y - originY), destination.at(r.x0, y), r.width());
}

void applyAlphaVector(const Surface& surface, const CIVector& v) {
    const bool onlyAlpha = v.x == 0 && v.y == 0 && v.z == 0;
    for (int y = 0; y < surface.height; ++y) {
        uint8_t* p = surface.at(0, y);
        for (int x = 0; x < surface.width; ++x, p += 4) {
            if (p[3] == 0) continue;
            const double a = p[3] / 255.0;
            if (onlyAlpha) {
                // Straight colour stays, so every premultiplied byte scales alike.
                const double k = std::clamp(v.w, 0.0, 1.0 / a);
                for (int c = 0; c < 4; ++c)
                    p[c] = toByte(p[c] / 255.0 * k);
                continue;
            }
            const double b = p[0] / 255.0 / a, g = p[1] / 255.0 / a, r = p[2] / 255.0 / a;
            const double na = std::clamp(r * v.x + g * v.y + b * v.z + a * v.w, 0.0, 1.0);
            p[0] = toByte(b * na);
            p[1] = toByte(g * na);
            p[2] = toByte(r * na);
            p[3] = toByte(na);
        }
    }
}

void blendWithMask(const Surface& input, const Surface* background, const Surface& mask) {
    static const uint8_t kClear[4] = {0, 0, 0, 0};
    for (int y = 0; y < input.height; ++y) {
        uint8_t* p = input.at(0, y);
        // No background is a transparent one: every pixel the same clear one.
        const uint8_t* bg = background ? background->at(0, y) : kClear;
        const int bgStep = background ? 4 : 0;
        const uint8_t* m = mask.at(0, y);
        for (int x = 0; x < input.width; ++x, p += 4, bg += bgStep, m += 4) {
#ifdef __SSE2__
            // Four white mask pixels in a row (the inside of a rounded
            // picture) keep the input as it is: skipped without weighing.
            if ((x & 3) == 0 && x + 4 <= input.width) {
                const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m));
                const int white = _mm_movemask_epi8(_mm_cmpeq_epi8(four, _mm_set1_epi8(static_cast<char>(0xFF))));
                if ((white & 0x7777) == 0x7777) {
                    x += 3, p += 12, bg += 3 * bgStep, m += 12;
                    continue;
                }
            }
#endif
            // Rec. 709 luminance of the mask; a transparent mask pixel is dark.
            const unsigned weight = (m[2] * 54u + m[1] * 183u + m[0] * 19u + 128) >> 8;
            if (weight == 255) continue; // masks are mostly all or nothing
            if (weight == 0) {
                std::memcpy(p, bg, 4);
                continue;
            }
            const unsigned rest = 255 - weight;
            for (int c = 0; c < 4; ++c)
                p[c] = div255(p[c] * weight + bg[c] * rest);
        }
    }
}

void gaussianBlur(const Surface& surface, double sigma, BlurWork& work) {
    const int w = surface.width, h = surface.height;
    if (w <= 0 || h <= 0 || !(sigma > 0)) return;
    // A shadow is black: only its alpha needs blurring, a quarter of the work.
    bool colourless = true;
    for (int y = 0; y < h && colourless; ++y) {
        const uint8_t* p = surface.at(0, y);
        for (int x = 0; x < w; ++x, p += 4)
            if (p[0] | p[1] | p[2]) {
                colourless = false;
                break;
            }
    }
    work.plane.resize(static_cast<size_t>(w) * h);
    for (int channel = colourless ? 3 : 0; channel < 4; ++channel) {
        for (int y = 0; y < h; ++y) {
            const uint8_t* p = surface.at(0, y) + channel;
            uint8_t* q = work.plane.data() + static_cast<size_t>(y) * w;
            for (int x = 0; x < w; ++x)
                q[x] = p[4 * x];
        }
        alpha_blur::blurPlane(work.plane.data(), static_cast<size_t>(w), w, h, sigma, work.scratch);
        for (int y = 0; y < h; ++y) {
            uint8_t* p = surface.at(0, y) + channel;
            const uint8_t* q = work.plane.data() + static_cast<size_t>(y) * w;
            for (int x = 0; x < w; ++x)
                p[4 * x] = q[x];
        }
    }
    // Channels blurred apart may round past their alpha; premultiplied
    // colour never exceeds it.
    if (!colourless)
        for (int y = 0; y < h; ++y) {
            uint8_t* p = surface.at(0, y);
            for (int x = 0; x < w; ++x, p += 4)
                p[0] = std::min(p[0], p[3]), p[1] = std::min(p[1], p[3]), p[2] = std::min(p[2], p[3]);
        }
}

} // namespace vantrel::pixel_ops
