#include "MediaProbe.h"

#include <cmath>
#include <cstring>
#include <csignal>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace vantrel::test {

namespace {

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string quoted(const std::filesystem::path& path) {
    return "'" + path.string() + "'";
}

} // namespace

CommandOutput runCapturing(const std::string& commandLine, std::chrono::milliseconds timeout) {
    char pattern[] = "/tmp/vantrel-command-XXXXXX";
    const std::filesystem::path dir = mkdtemp(pattern);
    const auto outPath = dir / "out", errPath = dir / "err";
    const pid_t pid = fork();
    if (pid == 0) {
        setpgid(0, 0);
        execl("/bin/sh", "sh", "-c", (commandLine + " >" + quoted(outPath) + " 2>" + quoted(errPath)).c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    CommandOutput result;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    int status = 0;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(-pid, SIGKILL);
            waitpid(pid, &status, 0);
            status = -1;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (status != -1 && WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    result.out = readFile(outPath);
    result.err = readFile(errPath);
    std::filesystem::remove_all(dir);
    return result;
}

nlohmann::json probeMedia(const std::filesystem::path& file) {
    const auto output =
        runCapturing("ffprobe -v error -show_streams -show_format -of json " + quoted(file), std::chrono::seconds(30));
    if (output.exitCode != 0) return {};
    return nlohmann::json::parse(output.out, nullptr, false);
}

std::vector<nlohmann::json> streamsOfType(const nlohmann::json& probe, const std::string& codecType) {
    std::vector<nlohmann::json> found;
    if (!probe.contains("streams")) return found;
    for (const auto& stream : probe["streams"])
        if (stream.value("codec_type", "") == codecType) found.push_back(stream);
    return found;
}

int decodableVideoFrames(const std::filesystem::path& file) {
    const auto output = runCapturing("ffprobe -v error -count_frames -select_streams v:0 -show_entries "
                                     "stream=nb_read_frames -of csv=p=0 " + quoted(file),
                                     std::chrono::seconds(60));
    if (output.exitCode != 0 || output.out.empty()) return -1;
    try {
        return std::stoi(output.out);
    } catch (const std::exception&) {
        return -1;
    }
}

std::vector<double> videoPacketTimes(const std::filesystem::path& file) {
    const auto output = runCapturing("ffprobe -v error -select_streams v:0 -show_entries packet=pts_time -of csv=p=0 " +
                                         quoted(file),
                                     std::chrono::seconds(30));
    std::vector<double> times;
    std::istringstream lines(output.out);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty()) times.push_back(std::stod(line));
    return times;
}

std::vector<float> decodeAudioTrack(const std::filesystem::path& file, int index) {
    char pattern[] = "/tmp/vantrel-audio-XXXXXX";
    const std::filesystem::path dir = mkdtemp(pattern);
    const auto raw = dir / "track.f32";
    runCapturing("ffmpeg -v error -y -i " + quoted(file) + " -map 0:a:" + std::to_string(index) +
                     " -ac 1 -ar 48000 -f f32le " + quoted(raw),
                 std::chrono::seconds(30));
    const std::string bytes = readFile(raw);
    std::filesystem::remove_all(dir);
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
}

double toneAmplitude(const std::vector<float>& samples, double frequency, double sampleRate) {
    // Goertzel over the whole signal.
    if (samples.empty()) return 0;
    const double coefficient = 2 * std::cos(2 * M_PI * frequency / sampleRate);
    double previous = 0, beforePrevious = 0;
    for (float sample : samples) {
        const double current = sample + coefficient * previous - beforePrevious;
        beforePrevious = previous;
        previous = current;
    }
    const double power = previous * previous + beforePrevious * beforePrevious - coefficient * previous * beforePrevious;
    return 2 * std::sqrt(std::max(power, 0.0)) / samples.size();
}

std::vector<uint8_t> decodeFrameRgb(const std::filesystem::path& file, double seconds, int width, int height) {
    char pattern[] = "/tmp/vantrel-frame-XXXXXX";
    const std::filesystem::path dir = mkdtemp(pattern);
    const auto raw = dir / "frame.rgb";
    runCapturing("ffmpeg -v error -y -ss " + std::to_string(seconds) + " -i " + quoted(file) +
                     " -frames:v 1 -f rawvideo -pix_fmt rgb24 " + quoted(raw),
                 std::chrono::seconds(30));
    const std::string bytes = readFile(raw);
    std::filesystem::remove_all(dir);
    if (bytes.size() != size_t(width) * height * 3) return {};
    return {bytes.begin(), bytes.end()};
}

std::vector<float> sineStereo(double frequency, double seconds, double amplitude, int sampleRate) {
    const size_t frames = size_t(seconds * sampleRate);
    std::vector<float> samples(frames * 2);
    for (size_t i = 0; i < frames; ++i)
        samples[2 * i] = samples[2 * i + 1] = float(amplitude * std::sin(2 * M_PI * frequency * i / sampleRate));
    return samples;
}

void writeRawFloat(const std::filesystem::path& file, const std::vector<float>& samples) {
    std::ofstream out(file, std::ios::binary);
    out.write(reinterpret_cast<const char*>(samples.data()), std::streamsize(samples.size() * sizeof(float)));
}

} // namespace vantrel::test
