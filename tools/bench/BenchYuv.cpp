// vantrel-bench-yuv: the cost of converting one BGRA frame to BT.709 I420 for
// the encoder, at 1080p and 4K. With --max-ms it fails (exit 1) when the
// 1080p median is above the limit; the machine must be otherwise idle.
#include "platform/image/BgraToYuv709.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string_view>
#include <vector>

using namespace vantrel;

namespace {

constexpr int kRuns = 60;

double medianMillis(int width, int height) {
    std::vector<uint8_t> bgra(static_cast<size_t>(width) * height * 4);
    std::mt19937 random(3);
    for (auto& byte : bgra)
        byte = static_cast<uint8_t>(random());
    const int chromaWidth = (width + 1) / 2;
    std::vector<uint8_t> y(static_cast<size_t>(width) * height),
        u(static_cast<size_t>(chromaWidth) * ((height + 1) / 2)), v(u.size());
    const YuvPlanes planes{y.data(), width, u.data(), chromaWidth, v.data(), chromaWidth};
    convertBgraToI420Bt709(bgra.data(), static_cast<size_t>(width) * 4, width, height, planes);
    std::vector<double> millis;
    for (int i = 0; i < kRuns; ++i) {
        const auto start = std::chrono::steady_clock::now();
        convertBgraToI420Bt709(bgra.data(), static_cast<size_t>(width) * 4, width, height, planes);
        millis.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(millis.begin(), millis.end());
    return millis[millis.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    double limit = 0;
    if (argc == 3 && std::string_view(argv[1]) == "--max-ms") {
        limit = std::atof(argv[2]);
    } else if (argc != 1) {
        std::fprintf(stderr, "usage: vantrel-bench-yuv [--max-ms MS]\n");
        return 2;
    }
    const double hd = medianMillis(1920, 1080);
    std::printf("bgra_to_i420_bt709 size=1920x1080 median_ms=%.3f\n", hd);
    std::printf("bgra_to_i420_bt709 size=3840x2160 median_ms=%.3f\n", medianMillis(3840, 2160));
    if (limit > 0 && hd > limit) {
        std::fprintf(stderr, "vantrel-bench-yuv: 1080p takes %.3f ms, above %.3f ms\n", hd, limit);
        return 1;
    }
    return 0;
}
