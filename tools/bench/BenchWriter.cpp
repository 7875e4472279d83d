// vantrel-bench-writer: offers N seconds of busy synthetic frames at 60 fps
// (and a tone as system audio) to the MP4 writer, the way the capture queue
// does, and tells how many it wrote, how many it had to drop, and how long
// finishing the file took.
#include "render/FinishWriting.h"

#include "platform/writer/AssetWriter.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>

using namespace vantrel;

namespace {

constexpr int kFramesPerSecond = 60;
constexpr int kDistinctFrames = 12;
constexpr int kAudioRate = 48000;
constexpr int kAudioRunFrames = 480; // 10 ms, as a sound server hands them over

struct Options {
    double seconds = 10;
    int width = 1920;
    int height = 1080;
    bool hardware = true;
    bool calm = false;
    std::filesystem::path out;
};

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg == "--seconds" && i + 1 < argc)
            o.seconds = std::stod(argv[++i]);
        else if (arg == "--size" && i + 1 < argc && std::sscanf(argv[++i], "%dx%d", &o.width, &o.height) == 2)
            continue;
        else if (arg == "--calm")
            o.calm = true;
        else if (arg == "--software")
            o.hardware = false;
        else if (arg == "--out" && i + 1 < argc)
            o.out = argv[++i];
        else
            throw std::invalid_argument("usage: vantrel-bench-writer [--seconds N] [--size WxH] [--calm] "
                                        "[--software] [--out file.mp4]");
    }
    if (o.out.empty())
        o.out =
            std::filesystem::temp_directory_path() / ("bench-writer-" + std::to_string(getpid()) + ".mp4");
    return o;
}

// Busy like a scrolling page of text: rows of glyph-sized cells, dark or
// light by a hash of their place on the page, moving every frame, and a
// coloured block that crosses the screen.
CVPixelBufferRef busyFrame(int index, int width, int height) {
    auto buffer = CVPixelBuffer::create(width, height);
    for (int y = 0; y < height; ++y) {
        uint8_t* row = buffer->row(y);
        const int scrolled = y + index * 7;
        const bool textRow = (scrolled / 14) % 2 == 0;
        for (int x = 0; x < width; ++x) {
            const uint32_t cell = static_cast<uint32_t>((scrolled / 2) * 7919 + (x / 2) * 104729);
            const bool ink = textRow && ((cell * 2654435761u) >> 29) < 3;
            const bool block = std::abs(x - (index * 97) % width) < 160 && std::abs(y - height / 2) < 120;
            const uint8_t paper = static_cast<uint8_t>(200 + (x + scrolled) % 40);
            row[4 * x + 0] = block ? 40 : (ink ? 30 : paper);
            row[4 * x + 1] = block ? 200 : (ink ? 30 : paper);
            row[4 * x + 2] = block ? 90 : (ink ? 40 : paper);
            row[4 * x + 3] = 255;
        }
    }
    return buffer;
}

} // namespace

int main(int argc, char** argv) try {
    const Options o = parse(argc, argv);
    std::vector<CVPixelBufferRef> frames;
    for (int i = 0; i < kDistinctFrames; ++i)
        frames.push_back(busyFrame(i, o.width, o.height));

    NSError error;
    auto writer = AVAssetWriter::initWithURL(URL{o.out}, AVFileType::mpeg4, &error);
    if (!writer) throw std::runtime_error(error.localizedDescription);
    VideoOutputSettings video;
    video.width = o.width;
    video.height = o.height;
    video.compression.usingHardwareAcceleratedVideoEncoder = o.hardware;
    auto videoInput = AVAssetWriterInput::initWithMediaType(AVMediaType::video, video);
    auto adaptor = AVAssetWriterInputPixelBufferAdaptor::initWithAssetWriterInput(
        videoInput, PixelBufferAttributes{kCVPixelFormatType_32BGRA, o.width, o.height});
    auto audioInput = AVAssetWriterInput::initWithMediaType(AVMediaType::audio, AudioOutputSettings{});
    writer->addInput(videoInput);
    writer->addInput(audioInput);
    if (!writer->startWriting()) throw std::runtime_error(writer->error().localizedDescription);
    const CMTime start = CMClockGetHostTime();
    writer->startSessionAtSourceTime(start);

    const auto t0 = std::chrono::steady_clock::now();
    const int total = static_cast<int>(o.seconds * kFramesPerSecond);
    const int runsPerFrame = kAudioRate / kAudioRunFrames / kFramesPerSecond + 1;
    int64_t audioFrames = 0;
    std::vector<float> pcm(2 * kAudioRunFrames);
    for (int i = 0; i < total; ++i) {
        std::this_thread::sleep_until(t0 + std::chrono::microseconds(1'000'000LL * i / kFramesPerSecond));
        const CMTime pts = start + CMTime(1'000'000'000LL * i / kFramesPerSecond, 1'000'000'000);
        // Calm: a page that scrolls once a second, as when someone reads or types.
        const int shown = o.calm ? (i / kFramesPerSecond) % kDistinctFrames : i % kDistinctFrames;
        if (videoInput->isReadyForMoreMediaData()) adaptor->appendPixelBuffer(frames[shown], pts);
        // Audio keeps pace with the frames offered.
        for (int r = 0; r < runsPerFrame && audioFrames * kFramesPerSecond < int64_t(i + 1) * kAudioRate;
             ++r) {
            for (int k = 0; k < kAudioRunFrames; ++k)
                pcm[2 * k] = pcm[2 * k + 1] =
                    0.2f * std::sin(2 * M_PI * 440.0 * (audioFrames + k) / kAudioRate);
            const CMTime at = start + CMTime(audioFrames * 1'000'000'000LL / kAudioRate, 1'000'000'000);
            if (audioInput->isReadyForMoreMediaData())
                audioInput->appendSampleBuffer(CMSampleBuffer::makeAudio(
                    {kAudioRate, 2}, pcm, {{CMTime::invalid(), at, CMTime::invalid()}}));
            audioFrames += kAudioRunFrames;
        }
    }
    const double offeredSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();

    const auto finishStart = std::chrono::steady_clock::now();
    tools::finishWritingAndWait(*writer);
    const double finishMs =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - finishStart).count();

    const uint64_t written = videoInput->appendedCount();
    std::printf("encoder %s, %dx%d, %.1f s offered at %d fps\n", writer->videoEncoderName().c_str(), o.width,
                o.height, offeredSeconds, kFramesPerSecond);
    const uint64_t repeats = videoInput->repeatedCount();
    std::printf("frames offered %d, kept %llu (%.1f fps), dropped %llu\n", total,
                static_cast<unsigned long long>(written + repeats), (written + repeats) / offeredSeconds,
                static_cast<unsigned long long>(videoInput->droppedCount()));
    std::printf("of those kept: %llu encoded, %llu repeats of the picture before (carried by its sample)\n",
                static_cast<unsigned long long>(written), static_cast<unsigned long long>(repeats));
    std::printf("finish %.0f ms, status %d, file %s (%.1f MB)\n", finishMs,
                static_cast<int>(writer->status()), o.out.c_str(), std::filesystem::file_size(o.out) / 1e6);
    return writer->status() == AVAssetWriterStatus::completed ? 0 : 1;
} catch (const std::exception& e) {
    std::cerr << e.what() << "\n";
    return 2;
}
