// Numbered grey pictures: a test sees which picture it was given by its colour.
#include "platform/playback/VideoLoop.h"

#include <algorithm>

namespace vantrel {

VideoLoopFake::VideoLoopFake(int width, int height, int frameCount, double rate)
    : width_(width), height_(height), frameCount_(frameCount), rate_(rate) {}

CVPixelBufferRef VideoLoopFake::nextFrame(double& presentationSeconds) {
    if (next_ == frameCount_) {
        next_ = 0;
        ++restarts_;
    }
    CVPixelBufferRef picture = CVPixelBuffer::create(width_, height_);
    for (int y = 0; y < height_; ++y)
        std::fill_n(picture->row(y), static_cast<size_t>(width_) * 4, static_cast<uint8_t>(next_));
    presentationSeconds = next_ / rate_;
    ++next_;
    return picture;
}

} // namespace vantrel
