#include "platform/image/BgraToYuv709.h"

#include <tmmintrin.h>

namespace vantrel {
namespace {

// BT.709 limited range, in units of 1/32768. The chroma rows sum to zero (or
// -1 for V, a rounding of the last place) so that greys land on 128.
constexpr int kShift = 15;
constexpr int kYr = 5983, kYg = 20127, kYb = 2032;
constexpr int kUr = -3298, kUg = -11094, kUb = 14392;
constexpr int kVr = 14392, kVg = -13073, kVb = -1320;
constexpr int kYOffset = (16 << kShift) + (1 << (kShift - 1));
// Chroma works on the sum of four pixels: two more bits.
constexpr int kCShift = kShift + 2;
constexpr int kCOffset = (128 << kCShift) + (1 << (kCShift - 1));

inline uint8_t clampByte(int v) {
    return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

inline uint8_t lumaOf(const uint8_t* p) {
    return clampByte((kYb * p[0] + kYg * p[1] + kYr * p[2] + kYOffset) >> kShift);
}

// Scalar conversion of columns [x0, width) of one row pair.
void convertTail(const uint8_t* row0, const uint8_t* row1, bool hasRow1, int x0, int width, uint8_t* y0,
                 uint8_t* y1, uint8_t* u, uint8_t* v) {
    for (int x = x0; x < width; x += 2) {
        const int xr = x + 1 < width ? x + 1 : x;
        const uint8_t* a = row0 + 4 * x;
        const uint8_t* b = row0 + 4 * xr;
        const uint8_t* c = row1 + 4 * x;
        const uint8_t* d = row1 + 4 * xr;
        y0[x] = lumaOf(a);
        if (xr != x) y0[xr] = lumaOf(b);
        if (hasRow1) {
            y1[x] = lumaOf(c);
            if (xr != x) y1[xr] = lumaOf(d);
        }
        const int sb = a[0] + b[0] + c[0] + d[0];
        const int sg = a[1] + b[1] + c[1] + d[1];
        const int sr = a[2] + b[2] + c[2] + d[2];
        u[x / 2] = clampByte((kUb * sb + kUg * sg + kUr * sr + kCOffset) >> kCShift);
        v[x / 2] = clampByte((kVb * sb + kVg * sg + kVr * sr + kCOffset) >> kCShift);
    }
}

__attribute__((target("ssse3"))) inline __m128i lumaOf4(__m128i px, __m128i coeffs) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i lo = _mm_madd_epi16(_mm_unpacklo_epi8(px, zero), coeffs);
    const __m128i hi = _mm_madd_epi16(_mm_unpackhi_epi8(px, zero), coeffs);
    const __m128i sum = _mm_add_epi32(_mm_hadd_epi32(lo, hi), _mm_set1_epi32(kYOffset));
    return _mm_srai_epi32(sum, kShift);
}

// Sums of the 2x2 blocks of four pixels of two rows: B G R A of block 0, then of block 1.
__attribute__((target("ssse3"))) inline __m128i blockSums(__m128i top, __m128i bottom) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i lo = _mm_add_epi16(_mm_unpacklo_epi8(top, zero), _mm_unpacklo_epi8(bottom, zero));
    const __m128i hi = _mm_add_epi16(_mm_unpackhi_epi8(top, zero), _mm_unpackhi_epi8(bottom, zero));
    const __m128i a = _mm_add_epi16(lo, _mm_srli_si128(lo, 8));
    const __m128i b = _mm_add_epi16(hi, _mm_srli_si128(hi, 8));
    return _mm_unpacklo_epi64(a, b);
}

__attribute__((target("ssse3"))) inline __m128i chromaOf4(__m128i blocks01, __m128i blocks23,
                                                          __m128i coeffs) {
    const __m128i sum = _mm_hadd_epi32(_mm_madd_epi16(blocks01, coeffs), _mm_madd_epi16(blocks23, coeffs));
    return _mm_srai_epi32(_mm_add_epi32(sum, _mm_set1_epi32(kCOffset)), kCShift);
}

__attribute__((target("ssse3"))) void convertSsse3(const uint8_t* bgra, size_t stride, int width, int height,
                                                   const YuvPlanes& out) {
    const __m128i yCoeffs = _mm_setr_epi16(kYb, kYg, kYr, 0, kYb, kYg, kYr, 0);
    const __m128i uCoeffs = _mm_setr_epi16(kUb, kUg, kUr, 0, kUb, kUg, kUr, 0);
    const __m128i vCoeffs = _mm_setr_epi16(kVb, kVg, kVr, 0, kVb, kVg, kVr, 0);
    const int vectorWidth = width & ~15;
    for (int y = 0; y < height; y += 2) {
        const bool hasRow1 = y + 1 < height;
        const uint8_t* row0 = bgra + stride * y;
        const uint8_t* row1 = hasRow1 ? row0 + stride : row0;
        uint8_t* y0 = out.y + static_cast<size_t>(out.yStride) * y;
        uint8_t* y1 = hasRow1 ? y0 + out.yStride : y0;
        uint8_t* u = out.u + static_cast<size_t>(out.uStride) * (y / 2);
        uint8_t* v = out.v + static_cast<size_t>(out.vStride) * (y / 2);
        for (int x = 0; x < vectorWidth; x += 16) {
            __m128i top[4], bottom[4];
            for (int i = 0; i < 4; ++i) {
                top[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row0 + 4 * x + 16 * i));
                bottom[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row1 + 4 * x + 16 * i));
            }
            const __m128i ya = _mm_packs_epi32(lumaOf4(top[0], yCoeffs), lumaOf4(top[1], yCoeffs));
            const __m128i yb = _mm_packs_epi32(lumaOf4(top[2], yCoeffs), lumaOf4(top[3], yCoeffs));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(y0 + x), _mm_packus_epi16(ya, yb));
            if (hasRow1) {
                const __m128i yc = _mm_packs_epi32(lumaOf4(bottom[0], yCoeffs), lumaOf4(bottom[1], yCoeffs));
                const __m128i yd = _mm_packs_epi32(lumaOf4(bottom[2], yCoeffs), lumaOf4(bottom[3], yCoeffs));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(y1 + x), _mm_packus_epi16(yc, yd));
            }
            __m128i blocks[4];
            for (int i = 0; i < 4; ++i)
                blocks[i] = blockSums(top[i], bottom[i]);
            const __m128i u16 = _mm_packs_epi32(chromaOf4(blocks[0], blocks[1], uCoeffs),
                                                chromaOf4(blocks[2], blocks[3], uCoeffs));
            const __m128i v16 = _mm_packs_epi32(chromaOf4(blocks[0], blocks[1], vCoeffs),
                                                chromaOf4(blocks[2], blocks[3], vCoeffs));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(u + x / 2), _mm_packus_epi16(u16, u16));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(v + x / 2), _mm_packus_epi16(v16, v16));
        }
        convertTail(row0, row1, hasRow1, vectorWidth, width, y0, y1, u, v);
    }
}

} // namespace

void convertBgraToI420Bt709Scalar(const uint8_t* bgra, size_t stride, int width, int height,
                                  const YuvPlanes& out) {
    for (int y = 0; y < height; y += 2) {
        const bool hasRow1 = y + 1 < height;
        const uint8_t* row0 = bgra + stride * y;
        uint8_t* y0 = out.y + static_cast<size_t>(out.yStride) * y;
        convertTail(row0, hasRow1 ? row0 + stride : row0, hasRow1, 0, width, y0,
                    hasRow1 ? y0 + out.yStride : y0, out.u + static_cast<size_t>(out.uStride) * (y / 2),
                    out.v + static_cast<size_t>(out.vStride) * (y / 2));
    }
}

void convertBgraToI420Bt709(const uint8_t* bgra, size_t stride, int width, int height, const YuvPlanes& out) {
    static const bool hasSsse3 = __builtin_cpu_supports("ssse3");
    if (hasSsse3)
        convertSsse3(bgra, stride, width, height, out);
    else
        convertBgraToI420Bt709Scalar(bgra, stride, width, height, out);
}

} // namespace vantrel
