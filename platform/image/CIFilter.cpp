#include "platform/image/CIFilter.h"

namespace vantrel {

namespace {
constexpr std::string_view kSourceOver = "CISourceOverCompositing";
constexpr std::string_view kBlendWithMask = "CIBlendWithMask";
constexpr std::string_view kColorMatrix = "CIColorMatrix";
// The alpha row of a colour matrix that leaves alpha as it is.
constexpr CIVector kIdentityAlphaVector{0, 0, 0, 1};
} // namespace

std::shared_ptr<CIFilter> CIFilter::filterWithName(std::string_view name) {
    if (name != kSourceOver && name != kBlendWithMask && name != kColorMatrix) return nullptr;
    return std::shared_ptr<CIFilter>(new CIFilter(std::string(name)));
}

void CIFilter::setValue(const CIImage& image, std::string_view key) {
    images_.insert_or_assign(std::string(key), image);
}

void CIFilter::setValue(const CIVector& vector, std::string_view key) {
    vectors_.insert_or_assign(std::string(key), vector);
}

std::optional<CIImage> CIFilter::image(std::string_view key) const {
    const auto found = images_.find(key);
    if (found == images_.end()) return std::nullopt;
    return found->second;
}

std::optional<CIImage> CIFilter::outputImage() const {
    const auto input = image(kCIInputImageKey);
    if (!input) return std::nullopt;
    if (name_ == kColorMatrix) {
        const auto found = vectors_.find(kCIInputAVectorKey);
        return input->withAlphaVector(found == vectors_.end() ? kIdentityAlphaVector : found->second);
    }
    const CIImage background = image(kCIInputBackgroundImageKey).value_or(CIImage());
    if (name_ == kSourceOver) return input->compositedOver(background);
    const auto mask = image(kCIInputMaskImageKey);
    if (!mask) return std::nullopt;
    return input->blendedWithMask(background, *mask);
}

} // namespace vantrel
