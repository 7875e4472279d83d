#include "platform/displays/Edid.h"

#include <array>

namespace vantrel {

namespace {
constexpr size_t kBaseBlockSize = 128;
constexpr std::array<uint8_t, 8> kHeader = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
constexpr size_t kFirstDescriptor = 54;
constexpr size_t kDescriptorSize = 18;
constexpr size_t kDescriptorCount = 4;
constexpr uint8_t kMonitorNameTag = 0xFC;
constexpr size_t kTextOffset = 5;
constexpr size_t kTextLength = 13;
} // namespace

std::optional<std::string> edidProductName(std::span<const uint8_t> edid) {
    if (edid.size() < kBaseBlockSize) return std::nullopt;
    for (size_t i = 0; i < kHeader.size(); ++i)
        if (edid[i] != kHeader[i]) return std::nullopt;
    for (size_t d = 0; d < kDescriptorCount; ++d) {
        const auto descriptor = edid.subspan(kFirstDescriptor + d * kDescriptorSize, kDescriptorSize);
        // Display descriptors (not timings) start with three zero bytes, then the tag.
        if (descriptor[0] != 0 || descriptor[1] != 0 || descriptor[2] != 0 ||
            descriptor[3] != kMonitorNameTag)
            continue;
        std::string name;
        for (size_t i = 0; i < kTextLength; ++i) {
            const uint8_t c = descriptor[kTextOffset + i];
            if (c == '\n') break;
            name.push_back(static_cast<char>(c));
        }
        while (!name.empty() && (name.back() == ' ' || name.back() == '\0'))
            name.pop_back();
        if (!name.empty()) return name;
    }
    return std::nullopt;
}

} // namespace vantrel
