#include "platform/image/SubpixelScale.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <libyuv/cpu_id.h>
#include <libyuv/row.h>
#include <libyuv/scale_row.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vantrel::pixel_ops {

namespace {

// libyuv's scalers take whole-pixel placements only, but their row kernels
// take a 16.16 fixed-point start: we drive those ourselves, as libyuv's own
// enlargement does (each source row filtered across once, rows then blended).
using FilterColumns = void (*)(uint8_t* out, const uint8_t* row, int count, int x, int dx);
using BlendRows = void (*)(uint8_t* out, const uint8_t* row, ptrdiff_t toNextRow, int bytes, int fraction);

struct RowKernels {
    FilterColumns filterColumns = libyuv::ScaleARGBFilterCols_C;
    BlendRows blendRows = libyuv::InterpolateRow_C;
    bool avx2Columns = false; // eight columns at a time before filterColumns takes the rest
};

const RowKernels& rowKernels() {
    static const RowKernels kernels = [] {
        RowKernels k;
#if defined(HAS_SCALEARGBFILTERCOLS_SSSE3)
        if (libyuv::TestCpuFlag(libyuv::kCpuHasSSSE3)) k.filterColumns = libyuv::ScaleARGBFilterCols_SSSE3;
#endif
#if defined(HAS_INTERPOLATEROW_SSSE3)
        if (libyuv::TestCpuFlag(libyuv::kCpuHasSSSE3)) k.blendRows = libyuv::InterpolateRow_Any_SSSE3;
#endif
#if defined(HAS_INTERPOLATEROW_AVX2)
        if (libyuv::TestCpuFlag(libyuv::kCpuHasAVX2)) k.blendRows = libyuv::InterpolateRow_Any_AVX2;
#endif
#if defined(__x86_64__)
        k.avx2Columns = libyuv::TestCpuFlag(libyuv::kCpuHasAVX2);
#endif
        return k;
    }();
    return kernels;
}

#if defined(__x86_64__)
// Eight columns of an enlargement at a time, with the sums of libyuv's SSSE3
// kernel: each channel (p0 · (127 − f) + p1 · f) >> 7, f the seven bits
// below the whole pixel. A step of at most one pixel keeps the eight pairs
// within nine source pixels, which two loads and two permutes fetch. Returns
// how many columns it did; it stops before reading past the row.
__attribute__((target("avx2"))) int filterColumnsAvx2(uint8_t* out, const uint8_t* row, int rowWidth, int count,
                                                     int64_t x, int64_t dx) {
    if (dx <= 0 || dx > (int64_t{1} << 16)) return 0;
    const __m256i steps = _mm256_mullo_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7),
                                             _mm256_set1_epi32(static_cast<int>(dx)));
    const __m256i sevenBits = _mm256_set1_epi32(0x7f);
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        const int64_t at = x + i * dx;
        const int first = static_cast<int>(at >> 16);
        if (first + 9 > rowWidth) break;
        const __m256i xs = _mm256_add_epi32(_mm256_set1_epi32(static_cast<int>(at)), steps);
        const __m256i offsets = _mm256_sub_epi32(_mm256_srli_epi32(xs, 16), _mm256_set1_epi32(first));
        const auto* from = reinterpret_cast<const __m256i*>(row + 4 * static_cast<size_t>(first));
        const __m256i p0 = _mm256_permutevar8x32_epi32(_mm256_loadu_si256(from), offsets);
        const __m256i p1 = _mm256_permutevar8x32_epi32(
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(reinterpret_cast<const uint8_t*>(from) + 4)), offsets);
        // Per pixel the byte pair (127 − f, f), twice: one weight per channel.
        const __m256i f = _mm256_and_si256(_mm256_srli_epi32(xs, 9), sevenBits);
        const __m256i pair = _mm256_or_si256(_mm256_xor_si256(f, sevenBits), _mm256_slli_epi32(f, 8));
        const __m256i weights = _mm256_or_si256(pair, _mm256_slli_epi32(pair, 16));
        const __m256i low = _mm256_maddubs_epi16(_mm256_unpacklo_epi8(p0, p1), _mm256_unpacklo_epi32(weights, weights));
        const __m256i high = _mm256_maddubs_epi16(_mm256_unpackhi_epi8(p0, p1), _mm256_unpackhi_epi32(weights, weights));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * static_cast<size_t>(i)),
                            _mm256_packus_epi16(_mm256_srli_epi16(low, 7), _mm256_srli_epi16(high, 7)));
    }
    return i;
}
#endif

// The columns of one source row: eight at a time where AVX2 can, the rest by libyuv's kernel.
void filterColumns(const RowKernels& kernels, uint8_t* out, const uint8_t* row, int rowWidth, int count, int64_t x,
                   int64_t dx) {
    int done = 0;
#if defined(__x86_64__)
    if (kernels.avx2Columns) done = filterColumnsAvx2(out, row, rowWidth, count, x, dx);
#endif
    if (done < count)
        kernels.filterColumns(out + 4 * static_cast<size_t>(done), row, count - done,
                              static_cast<int>(x + done * dx), static_cast<int>(dx));
}

constexpr int64_t kOne = int64_t{1} << 16;
// Rows start on cache lines, so the vector kernels never share one.
constexpr size_t kRowAlignment = 64;

void repeatPixel(uint8_t* out, const uint8_t* pixel, int count) {
    for (int i = 0; i < count; ++i)
        std::memcpy(out + 4 * i, pixel, 4);
}

} // namespace

void scaleBilinear(const Surface& source, const Placement& placement, const Surface& target,
                   const PixelRect& requested, ScaleWork& work) {
    const PixelRect area = requested.intersection(target.bounds());
    if (area.isEmpty() || source.width <= 0 || source.height <= 0) return;
    if (!(placement.scaleX > 0) || !(placement.scaleY > 0)) return;
    const RowKernels& kernels = rowKernels();
    const int width = area.width();

    // The source point under the centre of the area's first column, in
    // source pixels counted from the centre of the first one, and the step
    // from column to column.
    const int64_t step = std::llround(kOne / placement.scaleX);
    const int64_t first = std::llround(((area.x0 + 0.5 - placement.offsetX) / placement.scaleX - 0.5) * kOne);
    const int64_t last = static_cast<int64_t>(source.width - 1) * kOne;
    // Columns before `inner` sample left of the first centre, columns from
    // `outer` on at or right of the last one: both repeat the edge pixel.
    const int inner = first >= 0 ? 0 : static_cast<int>(std::min<int64_t>(width, (-first + step - 1) / step));
    const int outer = std::max(
        inner, first >= last ? 0 : static_cast<int>(std::min<int64_t>(width, (last - first + step - 1) / step)));
    auto filterRow = [&](int sourceRow, uint8_t* out) {
        const uint8_t* row = source.at(0, sourceRow);
        repeatPixel(out, row, inner);
        if (outer > inner)
            filterColumns(kernels, out + 4 * inner, row, source.width, outer - inner, first + inner * step, step);
        repeatPixel(out + 4 * outer, row + 4 * (source.width - 1), width - outer);
    };

    const size_t rowBytes = (static_cast<size_t>(width) * 4 + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    if (work.rows.size() < 2 * rowBytes + kRowAlignment) work.rows.resize(2 * rowBytes + kRowAlignment);
    uint8_t* const base = work.rows.data();
    uint8_t* const aligned = base + (kRowAlignment - reinterpret_cast<uintptr_t>(base) % kRowAlignment) % kRowAlignment;
    uint8_t* const rows[2] = {aligned, aligned + rowBytes};
    int rowHeld[2] = {-1, -1};
    auto slotHolding = [&](int sourceRow) { return rowHeld[0] == sourceRow ? 0 : rowHeld[1] == sourceRow ? 1 : -1; };
    auto fill = [&](int slot, int sourceRow) {
        filterRow(sourceRow, rows[slot]);
        rowHeld[slot] = sourceRow;
        return slot;
    };

    // Top row first, the order of the memory, which the caches like best.
    for (int y = area.y1 - 1; y >= area.y0; --y) {
        const double at = (y + 0.5 - placement.offsetY) / placement.scaleY - 0.5;
        int row = 0, fraction = 0;
        if (at >= source.height - 1) {
            row = source.height - 1;
        } else if (at > 0) {
            row = static_cast<int>(at);
            fraction = static_cast<int>((at - row) * 256 + 0.5);
            if (fraction == 256) ++row, fraction = 0;
        }
        uint8_t* out = target.at(area.x0, y);
        // Each source row is filtered once: the slot of the row still needed is kept.
        int lower = slotHolding(row);
        int upper = fraction == 0 ? -1 : slotHolding(row + 1);
        if (lower < 0) lower = fill(upper == 0 ? 1 : 0, row);
        if (fraction == 0) {
            std::memcpy(out, rows[lower], 4 * static_cast<size_t>(width));
            continue;
        }
        if (upper < 0) upper = fill(1 - lower, row + 1);
        kernels.blendRows(out, rows[lower], rows[upper] - rows[lower], 4 * width, fraction);
    }
}

} // namespace vantrel::pixel_ops
