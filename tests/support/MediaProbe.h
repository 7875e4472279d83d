#pragma once
// What recording tests need beside MediaFiles.h: running a program with its
// output and exit code, the streams of one kind in a probe, a decoded
// picture, and a tone to play into a sink.

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

/// The streams of one kind ("video", "audio") in file order.
std::vector<nlohmann::json> streamsOfType(const nlohmann::json& probe, const std::string& codecType);


/// One picture at `seconds`, as RGB bytes of the video's size.
std::vector<uint8_t> decodeFrameRgb(const std::filesystem::path& file, double seconds, int width, int height);

/// Interleaved stereo float of a sine, for playing into a sink with pacat.
std::vector<float> sineStereo(double frequency, double seconds, double amplitude = 0.5, int sampleRate = 48000);
/// Writes raw samples to `file` for pacat.
void writeRawFloat(const std::filesystem::path& file, const std::vector<float>& samples);

} // namespace vantrel::test
