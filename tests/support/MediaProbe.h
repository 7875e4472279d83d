#pragma once
// Looking into real media files the way a user's player would: ffprobe for
// the streams and their tags, ffmpeg for decoded sound and pictures, and a
// tone detector to tell which sound went into which track.

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vantrel::test {

struct CommandOutput {
    int exitCode = -1; // -1 when it did not end by itself in time
    std::string out;
    std::string err;
};

/// Runs `commandLine` with /bin/sh, waits up to `timeout`, then kills it.
CommandOutput runCapturing(const std::string& commandLine,
                           std::chrono::milliseconds timeout = std::chrono::seconds(60));

/// `ffprobe -show_streams -show_format` as JSON; empty when ffprobe found nothing playable.
nlohmann::json probeMedia(const std::filesystem::path& file);
/// The streams of one kind ("video", "audio") in file order.
std::vector<nlohmann::json> streamsOfType(const nlohmann::json& probe, const std::string& codecType);
/// Frames ffmpeg can decode from the first video stream (-1 when it cannot decode at all).
int decodableVideoFrames(const std::filesystem::path& file);
/// Presentation times (seconds) of the first video stream's packets, in file order.
std::vector<double> videoPacketTimes(const std::filesystem::path& file);

/// The audio track `index` (0-based among audio tracks), mono float at 48 kHz.
std::vector<float> decodeAudioTrack(const std::filesystem::path& file, int index);
/// How strong `frequency` is in `samples`, as the amplitude of a sine of that frequency.
double toneAmplitude(const std::vector<float>& samples, double frequency, double sampleRate = 48000);

/// One picture at `seconds`, as RGB bytes of the video's size.
std::vector<uint8_t> decodeFrameRgb(const std::filesystem::path& file, double seconds, int width, int height);

/// Interleaved stereo float of a sine, for playing into a sink with pacat.
std::vector<float> sineStereo(double frequency, double seconds, double amplitude = 0.5, int sampleRate = 48000);
/// Writes raw samples to `file` for pacat.
void writeRawFloat(const std::filesystem::path& file, const std::vector<float>& samples);

} // namespace vantrel::test
