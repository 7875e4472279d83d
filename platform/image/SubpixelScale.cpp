#include "platform/image/SubpixelScale.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <libyuv/cpu_id.h>
#include <libyuv/row.h>
#include <libyuv/scale_row.h>

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
        return k;
    }();
    return kernels;
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
            kernels.filterColumns(out + 4 * inner, row, outer - inner, static_cast<int>(first + inner * step),
                                  static_cast<int>(step));
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
