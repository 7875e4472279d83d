#pragma once
// The webcam picture in a corner of the output frame: rounded corners, a soft
// shadow, on top of everything. Works in output space, after the crop, so
// neither the zoom nor the camera's motion touch it.

#include "FrameInputs.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/core/PixelBuffer.h"

#include <memory>

namespace vantrel {

class WebcamOverlay {
public:
    /// `blendWithMaskFilter` is the engine's shared filter for the picture; may be null.
    WebcamOverlay(CGSize targetOutputSize, std::shared_ptr<CIFilter> blendWithMaskFilter);

    /// The frame with the picture on it; the frame unchanged when a filter is missing.
    CIImage applyWebcam(const CIImage& image, const CIImage& cameraFrame,
                        const AppSettingsSnapshot& settings);

    /// A white rounded rectangle on black of `size`, made once per size; a
    /// plain white square when no bitmap can be had (not kept, tried again).
    CIImage roundedMask(CGSize size);

    /// Drops the mask, the shadow and the last picture made (each is made anew when needed).
    void cleanup() {
        cachedRoundedMask_.reset();
        cachedShadow_.reset();
        forgetPicture();
        picturePool_.reset();
    }

    /// Where the picture lands for a camera picture of `frameExtent`.
    CGRect pictureRect(const CGRect& frameExtent, WebcamPosition position) const;

    const CGFloat cornerRadius = 12.0;
    const CGFloat edgeMargin = 20.0;
    const CIColor shadowColor{0, 0, 0, 0.4};
    const double shadowSigma = 6.0;
    const CGFloat shadowMargin = 12.0;
    const CGPoint shadowOffset{0, -2.0};
    /// The picture is this share of the output's width.
    const int widthDivisor = 5;

private:
    CGSize pictureSize(const CGRect& frameExtent) const;
    /// The rounded picture on its shadow, placed at the origin; absent when
    /// a filter is missing.
    std::optional<CIImage> pictureOnShadow(const CIImage& cameraFrame);
    /// The same, in pixels: made once per camera picture.
    std::optional<CIImage> keptPictureOnShadow(const CIImage& cameraFrame);
    void forgetPicture() {
        cachedPicture_.reset();
        cachedPictureSource_.reset();
    }
    /// The blurred shadow of the rounded picture of `roundedExtent`, made once per size.
    std::optional<CIImage> shadowImage(const CIImage& mask, const CGRect& roundedExtent);

    const CGSize targetOutputSize_;
    std::shared_ptr<CIFilter> blendWithMaskFilter_;
    std::optional<CIImage> cachedRoundedMask_;
    CGSize cachedMaskSize_{0, 0};
    std::optional<CIImage> cachedShadow_;
    CGRect cachedShadowExtent_;
    std::shared_ptr<const image_recipe::Node> cachedShadowMask_; // the mask it was made with
    // The last camera picture rounded on its shadow, and that picture (held,
    // so that its pixels cannot be reused for another while it is the key).
    std::optional<CIImage> cachedPicture_;
    std::shared_ptr<const void> cachedPictureSource_;
    CVPixelBufferPoolRef picturePool_;
    CIContext pictureContext_;
};

} // namespace vantrel
