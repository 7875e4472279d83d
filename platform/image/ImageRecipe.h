#pragma once
// The nodes a CIImage is made of. Only the image operations and the renderer
// look inside; everybody else holds CIImage values.

#include <memory>
#include <variant>

#include "platform/image/CIImage.h"

namespace vantrel::image_recipe {

struct Raster {
    CVPixelBufferRef pixels; // premultiplied BGRA
    CGImageRef keepAlive;    // set when the pixels belong to a CGImage
};
struct Color {
    CIColor color;
};
struct Crop {
    std::shared_ptr<const Node> input;
    CGRect rect;
};
struct Transform {
    std::shared_ptr<const Node> input;
    CGAffineTransform transform;
};
struct Over {
    std::shared_ptr<const Node> top;
    std::shared_ptr<const Node> bottom;
};
struct Blur {
    std::shared_ptr<const Node> input;
    double sigma;
};
struct AlphaMatrix {
    std::shared_ptr<const Node> input;
    CIVector alphaVector;
};
struct BlendWithMask {
    std::shared_ptr<const Node> input;
    std::shared_ptr<const Node> background; // may be null: transparent
    std::shared_ptr<const Node> mask;       // may be null: all dark
};

struct Node {
    std::variant<Raster, Color, Crop, Transform, Over, Blur, AlphaMatrix, BlendWithMask> operation;
    CGRect extent;
};

} // namespace vantrel::image_recipe
