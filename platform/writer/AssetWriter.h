#pragma once
// Writing one MP4 file under the names the logic uses: a writer with inputs
// (one video, any number of audio) and a pixel buffer adaptor on the video
// input. Behind it: FFmpeg, with HEVC (a hardware encoder when one opens,
// else libx265) tagged hvc1 and AAC, muxed as fragmented MP4 while writing so
// that a file cut short by a crash, a full disk or a lost display still plays,
// and given a normal index when it is finished.
//
// Threads: make and configure a writer and its inputs on one thread, before
// startWriting. After that, appends may come from any thread (each input from
// one thread at a time), and they never wait for an encoder: every input
// encodes on a worker of its own behind a bounded queue (a video input's
// holds up to half a second of frames; see VideoQueuePolicy.h), and
// isReadyForMoreMediaData is false while that queue is full.

#include "platform/core/CMTime.h"
#include "platform/camera/CaptureDevice.h"
#include "platform/core/NSError.h"
#include "platform/core/PixelBuffer.h"
#include "platform/core/SampleBuffer.h"
#include "platform/core/SharedTypes.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace vantrel {

enum class AVFileType { mpeg4 };

enum class AVAssetWriterStatus : int { unknown = 0, writing = 1, completed = 2, failed = 3, cancelled = 4 };

// Codec and colour names the settings are written with.
inline const std::string AVVideoCodecTypeHEVC = "hvc1";
inline const std::string kVTProfileLevel_HEVC_Main_AutoLevel = "HEVC_Main_AutoLevel";
inline const std::string AVVideoColorPrimaries_P3_D65 = "P3_D65";
inline const std::string AVVideoColorPrimaries_ITU_R_709_2 = "ITU_R_709_2";
inline const std::string AVVideoTransferFunction_ITU_R_709_2 = "ITU_R_709_2";
inline const std::string AVVideoYCbCrMatrix_ITU_R_709_2 = "ITU_R_709_2";
inline constexpr uint32_t kAudioFormatMPEG4AAC = 0x61616320; // 'aac '
inline constexpr uint32_t kAudioChannelLayoutTag_Stereo = 0x00650002;

/// The compression properties of a video input. No bit rate: the encoder is
/// driven by quality.
struct VideoCompressionProperties {
    bool usingHardwareAcceleratedVideoEncoder = true;
    bool realTime = true;
    int expectedSourceFrameRate = 60;
    /// 0 (smallest file) to 1 (best picture).
    double quality = 0.82;
    std::string profileLevel = kVTProfileLevel_HEVC_Main_AutoLevel;
    double maxKeyFrameIntervalDuration = 2.0;
    bool allowOpenGOP = true;
};

// What the pixels are: X11 hands out the screen's own values, which are sRGB
// (BT.709 primaries). A P3 tag on unconverted pixels makes colour-managed
// players stretch every colour to the wider gamut.
struct VideoColorProperties {
    std::string colorPrimaries = AVVideoColorPrimaries_ITU_R_709_2;
    std::string transferFunction = AVVideoTransferFunction_ITU_R_709_2;
    std::string yCbCrMatrix = AVVideoYCbCrMatrix_ITU_R_709_2;
};

struct VideoOutputSettings {
    std::string codec = AVVideoCodecTypeHEVC;
    int width = 0;
    int height = 0;
    VideoCompressionProperties compression;
    VideoColorProperties color;
};

struct AudioOutputSettings {
    uint32_t formatID = kAudioFormatMPEG4AAC;
    double sampleRate = 48000.0;
    int numberOfChannels = 2;
    int encoderBitRate = 128000;
    /// One AudioChannelLayout: the tag, little-endian, then zeros.
    std::array<uint8_t, 32> channelLayout{0x02, 0x00, 0x65, 0x00};
};

using AVOutputSettings = std::variant<VideoOutputSettings, AudioOutputSettings>;

/// What the pixel buffer adaptor is given.
struct PixelBufferAttributes {
    uint32_t pixelFormatType = kCVPixelFormatType_32BGRA;
    int width = 0;
    int height = 0;
};

class AVAssetWriter;

class AVAssetWriterInput {
public:
    /// Video settings with AVMediaType::video, audio settings with
    /// AVMediaType::audio; null when they do not match.
    static std::shared_ptr<AVAssetWriterInput> initWithMediaType(AVMediaType mediaType,
                                                                 AVOutputSettings outputSettings);
    ~AVAssetWriterInput();
    AVAssetWriterInput(const AVAssetWriterInput&) = delete;
    AVAssetWriterInput& operator=(const AVAssetWriterInput&) = delete;

    AVMediaType mediaType() const;
    const AVOutputSettings& outputSettings() const;

    /// Kept for the settings' sake: every input of ours works in real time.
    bool expectsMediaDataInRealTime = false;

    /// Before startWriting, video only: how much memory the queued frames
    /// may take (by default half a second of 1080p). The queue holds up to
    /// half a second of frames within it, at least three.
    void setVideoQueueMemory(size_t bytes);

    /// False while the encoder's queue is full, before startWriting, after
    /// markAsFinished and once the writer has failed or ended. Video: each
    /// call stands for one frame offered, and under a lasting overload the
    /// answer is also false for the frames a lowered rate leaves out (every
    /// second, then two of three), so that the drops fall evenly. Each false
    /// answer while writing counts one dropped sample.
    bool isReadyForMoreMediaData() const;

    /// Audio: interleaved float PCM at any rate and channel count (converted
    /// to the settings' format). Samples before the session start are cut
    /// off. False when the sample was not taken.
    bool appendSampleBuffer(const CMSampleBufferRef& sampleBuffer);
    /// No more samples; what is queued is still encoded.
    void markAsFinished();

    /// Samples taken, and samples dropped (not ready, or lost in the encoder).
    uint64_t appendedCount() const;
    uint64_t droppedCount() const;
    /// Video frames taken that showed the last taken picture again: no
    /// sample of their own, the one before lasts until the next.
    uint64_t repeatedCount() const;

    class Impl;
    Impl& impl() { return *impl_; }

private:
    explicit AVAssetWriterInput(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

class AVAssetWriterInputPixelBufferAdaptor {
public:
    static std::shared_ptr<AVAssetWriterInputPixelBufferAdaptor>
    initWithAssetWriterInput(std::shared_ptr<AVAssetWriterInput> input, PixelBufferAttributes attributes);

    const std::shared_ptr<AVAssetWriterInput>& assetWriterInput() const { return input_; }
    const PixelBufferAttributes& sourcePixelBufferAttributes() const { return attributes_; }

    /// Converts the frame to the encoder's 4:2:0 layout into a picture of the
    /// input's own (so the buffer is let go before this returns) and queues
    /// it, never waiting for the encoder. False when it was not taken.
    bool appendPixelBuffer(const CVPixelBufferRef& pixelBuffer, CMTime presentationTime);

    AVAssetWriterInputPixelBufferAdaptor(std::shared_ptr<AVAssetWriterInput> input,
                                         PixelBufferAttributes attributes);

private:
    std::shared_ptr<AVAssetWriterInput> input_;
    PixelBufferAttributes attributes_;
};

class AVAssetWriter {
public:
    /// Null with `error` filled when the location cannot be written: the
    /// folder is missing or not writable, or the file exists.
    static std::shared_ptr<AVAssetWriter> initWithURL(const URL& url, AVFileType fileType, NSError* error);
    ~AVAssetWriter();
    AVAssetWriter(const AVAssetWriter&) = delete;
    AVAssetWriter& operator=(const AVAssetWriter&) = delete;

    const URL& outputURL() const;

    /// Before startWriting: one video input at most, audio inputs of AAC.
    bool canAddInput(const AVAssetWriterInput& input) const;
    void addInput(std::shared_ptr<AVAssetWriterInput> input);

    /// Opens the encoders and the file; false (status failed, error set) when
    /// they cannot be opened.
    bool startWriting();
    /// Sample times in the file count from here; earlier samples are cut off.
    void startSessionAtSourceTime(CMTime startTime);

    /// Any thread.
    AVAssetWriterStatus status() const;
    /// Set once the status is failed.
    NSError error() const;

    /// Marks every input finished, lets the encoders drain, writes the index
    /// and closes the file. `handler` runs once, on a thread of the writer's,
    /// when the file is closed, however it ended.
    void finishWritingWithCompletionHandler(std::function<void()> handler);
    /// Stops at once and removes the file.
    void cancelWriting();

    /// The encoder that opened, such as "libx265" or "hevc_vaapi"; empty before startWriting.
    std::string videoEncoderName() const;

    class Impl;

private:
    explicit AVAssetWriter(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace vantrel
