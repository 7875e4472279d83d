#pragma once
// The three named filters the engine composes with. Inputs are set by key and
// read back by outputImage, which is absent while a required input is missing.

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/image/CIImage.h"

namespace vantrel {

inline constexpr std::string_view kCIInputImageKey = "inputImage";
inline constexpr std::string_view kCIInputBackgroundImageKey = "inputBackgroundImage";
inline constexpr std::string_view kCIInputMaskImageKey = "inputMaskImage";
inline constexpr std::string_view kCIInputAVectorKey = "inputAVector";

class CIFilter {
public:
    /// "CISourceOverCompositing", "CIBlendWithMask" or "CIColorMatrix"; null for any other name.
    static std::shared_ptr<CIFilter> filterWithName(std::string_view name);

    void setValue(const CIImage& image, std::string_view key);
    void setValue(const CIVector& vector, std::string_view key);
    std::optional<CIImage> outputImage() const;
    const std::string& name() const { return name_; }

private:
    explicit CIFilter(std::string name) : name_(std::move(name)) {}
    std::optional<CIImage> image(std::string_view key) const;

    std::string name_;
    std::map<std::string, CIImage, std::less<>> images_;
    std::map<std::string, CIVector, std::less<>> vectors_;
};

} // namespace vantrel
