#pragma once
// Looking into media files the way a player would: ffprobe's JSON, decoded
// audio from ffmpeg, the strength of a tone, and the MP4 boxes at the top
// level of a file.

#include <array>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace vantrel::test {

/// Standard output of a shell command line without its last line end;
/// nothing when it exits non-zero.
std::optional<std::string> commandOutput(const std::string& commandLine);

/// `ffprobe -of json -show_format -show_streams`; null when ffprobe fails.
nlohmann::json probeFile(const std::filesystem::path& file);

/// Per packet of the first video track: presentation time in seconds and
/// whether it is a key frame.
struct ProbedPacket {
    double ptsSeconds = 0;
    bool key = false;
};
std::vector<ProbedPacket> probeVideoPackets(const std::filesystem::path& file);

/// Frames of the first video track that decode; -1 when the file does not open.
int decodedVideoFrames(const std::filesystem::path& file);

/// True when ffmpeg decodes every track of the file without an error.
bool decodesCleanly(const std::filesystem::path& file);

/// Audio track `index` (0 = first audio track) decoded to mono float at `rate`.
std::vector<float> decodeAudioTrack(const std::filesystem::path& file, int index, int rate);

/// Goertzel power of `frequency` in `samples`, as a share of the signal's energy (0..1).
double toneShare(const std::vector<float>& samples, double frequency, int rate);

/// The four-letter types of the top-level boxes, in file order.
std::vector<std::string> topLevelBoxes(const std::filesystem::path& file);

/// The first `colr` box of type `nclx`: primaries, transfer, matrix, full range (0 or 1).
std::optional<std::array<int, 4>> nclxColour(const std::filesystem::path& file);

/// Shell quoting for one argument.
std::string shellQuote(const std::string& text);

} // namespace vantrel::test
