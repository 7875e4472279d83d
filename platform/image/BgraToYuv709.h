#pragma once
// BGRA to planar YUV 4:2:0 with BT.709 coefficients and limited (studio)
// range, the way the recorder's HEVC encoder wants its pictures. libyuv's
// ARGBToI420 uses the BT.601 matrix and swscale is several times slower, so
// this file has its own converter: SSSE3 where the CPU has it, else a scalar
// loop with the same integer arithmetic (the two give identical bytes).

#include <cstddef>
#include <cstdint>

namespace vantrel {

struct YuvPlanes {
    uint8_t* y = nullptr;
    int yStride = 0;
    uint8_t* u = nullptr;
    int uStride = 0;
    uint8_t* v = nullptr;
    int vStride = 0;
};

/// Each chroma sample is the mean of its 2x2 block; with an odd width or
/// height the last column or row stands for its missing neighbour. Alpha is
/// ignored. Allocates nothing.
void convertBgraToI420Bt709(const uint8_t* bgra, size_t bgraStride, int width, int height,
                            const YuvPlanes& out);

/// The scalar path alone, for checking the vector path against it.
void convertBgraToI420Bt709Scalar(const uint8_t* bgra, size_t bgraStride, int width, int height,
                                  const YuvPlanes& out);

} // namespace vantrel
