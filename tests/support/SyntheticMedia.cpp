#include "SyntheticMedia.h"

#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <random>

namespace vantrel::test {

void drawMovingPattern(CVPixelBuffer& buffer, int index, bool noisy) {
    const int w = buffer.width(), h = buffer.height();
    const int squareX = (index * 13) % std::max(1, w - h / 4), squareY = h / 3, side = h / 4;
    std::minstd_rand random(static_cast<unsigned>(index) + 1);
    for (int y = 0; y < h; ++y) {
        uint8_t* row = buffer.row(y);
        for (int x = 0; x < w; ++x) {
            const bool inSquare = x >= squareX && x < squareX + side && y >= squareY && y < squareY + side;
            const uint8_t band = static_cast<uint8_t>(((x + y + index * 4) / 16) * 24);
            const uint8_t grain = noisy ? static_cast<uint8_t>(random() & 0x3f) : 0;
            row[4 * x + 0] = inSquare ? 30 : static_cast<uint8_t>(band + grain);
            row[4 * x + 1] = inSquare ? 220 : static_cast<uint8_t>(255 - band);
            row[4 * x + 2] = inSquare ? 60 : static_cast<uint8_t>(x * 255 / w);
            row[4 * x + 3] = 255;
        }
    }
}

CMSampleBufferRef sineRun(double frequency, int rate, int channels, int64_t firstFrame, int frames,
                          CMTime time) {
    std::vector<float> pcm(static_cast<size_t>(frames) * channels);
    for (int i = 0; i < frames; ++i) {
        const float value =
            0.3f * static_cast<float>(std::sin(2 * M_PI * frequency * double(firstFrame + i) / rate));
        for (int c = 0; c < channels; ++c)
            pcm[static_cast<size_t>(i) * channels + c] = value;
    }
    return CMSampleBuffer::makeAudio({double(rate), channels}, std::move(pcm),
                                     {{CMTime::invalid(), time, CMTime::invalid()}});
}

CMTime hostTimeAfter(CMTime base, double seconds) {
    return base + CMTime(std::llround(seconds * 1e9), 1'000'000'000);
}

TestRecording makeRecording(const std::filesystem::path& file, int width, int height, int audioTracks,
                            double keyFrameIntervalSeconds) {
    TestRecording r;
    NSError error;
    r.writer = AVAssetWriter::initWithURL(URL{file}, AVFileType::mpeg4, &error);
    if (!r.writer) return r;
    VideoOutputSettings video;
    video.width = width;
    video.height = height;
    video.compression.maxKeyFrameIntervalDuration = keyFrameIntervalSeconds;
    r.video = AVAssetWriterInput::initWithMediaType(AVMediaType::video, video);
    r.adaptor = AVAssetWriterInputPixelBufferAdaptor::initWithAssetWriterInput(
        r.video, PixelBufferAttributes{kCVPixelFormatType_32BGRA, width, height});
    for (int i = 0; i < audioTracks; ++i)
        r.audio.push_back(AVAssetWriterInput::initWithMediaType(AVMediaType::audio, AudioOutputSettings{}));
    r.writer->addInput(r.video);
    for (auto& a : r.audio)
        r.writer->addInput(a);
    return r;
}

bool finishAndWait(AVAssetWriter& writer, std::chrono::milliseconds timeout, int* handlerCalls) {
    auto state = std::make_shared<std::pair<std::mutex, std::condition_variable>>();
    auto calls = std::make_shared<int>(0);
    writer.finishWritingWithCompletionHandler([state, calls] {
        std::lock_guard lock(state->first);
        ++*calls;
        state->second.notify_all();
    });
    std::unique_lock lock(state->first);
    const bool done = state->second.wait_for(lock, timeout, [&] { return *calls > 0; });
    if (handlerCalls) *handlerCalls = *calls;
    return done;
}

TempFolder::TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vantrel-writer-XXXXXX").string();
    if (!mkdtemp(pattern.data())) std::abort();
    path_ = pattern;
    std::filesystem::permissions(path_, std::filesystem::perms(0755));
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace vantrel::test
