#include "MediaFiles.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace vantrel::test {

std::string shellQuote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::optional<std::string> commandOutput(const std::string& commandLine) {
    FILE* pipe = popen(commandLine.c_str(), "r");
    if (!pipe) return std::nullopt;
    std::string out;
    std::array<char, 65536> chunk{};
    size_t n = 0;
    while ((n = fread(chunk.data(), 1, chunk.size(), pipe)) > 0)
        out.append(chunk.data(), n);
    if (pclose(pipe) != 0) return std::nullopt;
    while (!out.empty() && out.back() == '\n')
        out.pop_back();
    return out;
}

nlohmann::json probeFile(const std::filesystem::path& file) {
    const auto out =
        commandOutput("ffprobe -v error -of json -show_format -show_streams " + shellQuote(file.string()));
    if (!out) return nullptr;
    return nlohmann::json::parse(*out, nullptr, false);
}

std::vector<ProbedPacket> probeVideoPackets(const std::filesystem::path& file) {
    const auto out =
        commandOutput("ffprobe -v error -of json -select_streams v:0 -show_entries packet=pts_time,flags " +
                      shellQuote(file.string()));
    std::vector<ProbedPacket> packets;
    if (!out) return packets;
    const auto json = nlohmann::json::parse(*out, nullptr, false);
    if (!json.contains("packets")) return packets;
    for (const auto& p : json["packets"]) {
        ProbedPacket packet;
        packet.ptsSeconds = std::stod(p.value("pts_time", "0"));
        packet.key = p.value("flags", "").find('K') != std::string::npos;
        packets.push_back(packet);
    }
    return packets;
}

int decodedVideoFrames(const std::filesystem::path& file) {
    const auto out = commandOutput("ffprobe -v quiet -count_frames -select_streams v:0 -show_entries "
                                   "stream=nb_read_frames -of csv=p=0 " +
                                   shellQuote(file.string()));
    if (!out || out->empty()) return -1;
    return std::atoi(out->c_str());
}

bool decodesCleanly(const std::filesystem::path& file) {
    const auto out = commandOutput("ffmpeg -nostdin -v error -xerror -i " + shellQuote(file.string()) +
                                   " -map 0 -f null - 2>&1");
    return out && out->empty();
}

std::vector<float> decodeAudioTrack(const std::filesystem::path& file, int index, int rate) {
    const auto out = commandOutput("ffmpeg -nostdin -v error -i " + shellQuote(file.string()) +
                                   " -map 0:a:" + std::to_string(index) + " -ac 1 -ar " +
                                   std::to_string(rate) + " -f f32le -");
    std::vector<float> samples;
    if (!out) return samples;
    samples.resize(out->size() / sizeof(float));
    std::memcpy(samples.data(), out->data(), samples.size() * sizeof(float));
    return samples;
}

double toneShare(const std::vector<float>& samples, double frequency, int rate) {
    if (samples.empty()) return 0;
    const double coeff = 2 * std::cos(2 * M_PI * frequency / rate);
    double s1 = 0, s2 = 0, energy = 0;
    for (float x : samples) {
        const double s0 = x + coeff * s1 - s2;
        s2 = s1;
        s1 = s0;
        energy += static_cast<double>(x) * x;
    }
    const double power = s1 * s1 + s2 * s2 - coeff * s1 * s2;
    // A pure sine of energy E gives a Goertzel power of about E * N / 2.
    return energy > 0 ? power / (energy * samples.size() / 2.0) : 0;
}

std::vector<std::string> topLevelBoxes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::vector<std::string> boxes;
    const auto fileSize = std::filesystem::file_size(file);
    uint64_t offset = 0;
    while (offset + 8 <= fileSize) {
        unsigned char header[16];
        in.seekg(static_cast<std::streamoff>(offset));
        if (!in.read(reinterpret_cast<char*>(header), 8)) break;
        uint64_t size = (uint64_t(header[0]) << 24) | (header[1] << 16) | (header[2] << 8) | header[3];
        boxes.emplace_back(reinterpret_cast<char*>(header + 4), 4);
        if (size == 1) {
            if (!in.read(reinterpret_cast<char*>(header + 8), 8)) break;
            size = 0;
            for (int i = 8; i < 16; ++i)
                size = (size << 8) | header[i];
        } else if (size == 0) {
            break; // to the end of the file
        }
        if (size < 8) break;
        offset += size;
    }
    return boxes;
}

} // namespace vantrel::test

namespace vantrel::test {

std::optional<std::array<int, 4>> nclxColour(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const auto at = bytes.find("colrnclx");
    if (at == std::string::npos || at + 15 > bytes.size()) return std::nullopt;
    const auto u8 = [&](size_t i) { return static_cast<unsigned char>(bytes[at + 8 + i]); };
    return std::array<int, 4>{u8(0) << 8 | u8(1), u8(2) << 8 | u8(3), u8(4) << 8 | u8(5), u8(6) >> 7};
}

} // namespace vantrel::test
