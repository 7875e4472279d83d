#include "platform/image/CIImage.h"

#include "platform/image/ImageRecipe.h"

#include <cmath>

namespace vantrel {

using namespace image_recipe;

namespace {
// The reach of a gaussian that counts: beyond three sigmas less than 0.3 % is left.
constexpr double kBlurReachInSigmas = 3.0;

std::shared_ptr<const Node> makeNode(decltype(Node::operation) operation, const CGRect& extent) {
    return std::make_shared<const Node>(Node{std::move(operation), extent});
}
} // namespace

CIImage CIImage::fromPixelBuffer(CVPixelBufferRef buffer) {
    if (!buffer) return {};
    const CGRect extent{0, 0, static_cast<CGFloat>(buffer->width()), static_cast<CGFloat>(buffer->height())};
    return CIImage(makeNode(Raster{std::move(buffer), nullptr}, extent));
}

CIImage CIImage::fromCGImage(CGImageRef image) {
    if (!image) return {};
    const CGRect extent{0, 0, static_cast<CGFloat>(image->width()), static_cast<CGFloat>(image->height())};
    return CIImage(makeNode(Raster{image->pixelBuffer(), image}, extent));
}

CIImage CIImage::fromColor(CIColor color) {
    return CIImage(makeNode(Color{color}, CGRect::infinite()));
}

CGRect CIImage::extent() const {
    return node_ ? node_->extent : CGRect::null();
}

CVPixelBufferRef CIImage::pixelBuffer() const {
    const auto* raster = node_ ? std::get_if<Raster>(&node_->operation) : nullptr;
    return raster && !raster->keepAlive ? raster->pixels : nullptr;
}

CIImage CIImage::croppedTo(const CGRect& rect) const {
    if (!node_) return {};
    const CGRect extent = node_->extent.intersection(rect);
    if (extent.isEmpty()) return {};
    return CIImage(makeNode(Crop{node_, rect}, extent));
}

CIImage CIImage::transformedBy(const CGAffineTransform& transform) const {
    if (!node_ || transform.isIdentity()) return *this;
    return CIImage(makeNode(Transform{node_, transform}, transform.apply(node_->extent)));
}

CIImage CIImage::compositedOver(const CIImage& background) const {
    if (!node_) return background;
    if (!background.node_) return *this;
    return CIImage(
        makeNode(Over{node_, background.node_}, node_->extent.unionWith(background.node_->extent)));
}

CIImage CIImage::blurredWithSigma(double sigma) const {
    if (!node_ || !(sigma > 0)) return *this;
    const CGFloat reach = std::ceil(kBlurReachInSigmas * sigma);
    const CGRect extent = node_->extent.isInfinite() ? node_->extent : node_->extent.insetBy(-reach, -reach);
    return CIImage(makeNode(Blur{node_, sigma}, extent));
}

CIImage CIImage::withAlphaVector(const CIVector& alphaVector) const {
    if (!node_) return {};
    if (alphaVector == CIVector{0, 0, 0, 1}) return *this;
    return CIImage(makeNode(AlphaMatrix{node_, alphaVector}, node_->extent));
}

CIImage CIImage::blendedWithMask(const CIImage& background, const CIImage& mask) const {
    // Where the mask has no pixels it counts as dark, so the result reaches
    // only as far as the background and the masked part of the image.
    const CGRect masked =
        node_ && mask.node_ ? node_->extent.intersection(mask.node_->extent) : CGRect::null();
    const CGRect extent = masked.unionWith(background.extent());
    if (extent.isEmpty()) return {};
    return CIImage(makeNode(BlendWithMask{node_, background.node_, mask.node_}, extent));
}

} // namespace vantrel
