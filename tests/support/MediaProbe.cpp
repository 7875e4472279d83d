#include "MediaProbe.h"

#include "MediaFiles.h"

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

} // namespace

CommandOutput runCapturing(const std::string& commandLine, std::chrono::milliseconds timeout) {
    char pattern[] = "/tmp/vantrel-command-XXXXXX";
    const std::filesystem::path dir = mkdtemp(pattern);
    const auto outPath = dir / "out", errPath = dir / "err";
    const pid_t pid = fork();
    if (pid == 0) {
        setpgid(0, 0);
        execl("/bin/sh", "sh", "-c", (commandLine + " >" + shellQuote(outPath.string()) + " 2>" + shellQuote(errPath.string())).c_str(),
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

std::vector<nlohmann::json> streamsOfType(const nlohmann::json& probe, const std::string& codecType) {
    std::vector<nlohmann::json> found;
    if (!probe.contains("streams")) return found;
    for (const auto& stream : probe["streams"])
        if (stream.value("codec_type", "") == codecType) found.push_back(stream);
    return found;
}

std::vector<uint8_t> decodeFrameRgb(const std::filesystem::path& file, double seconds, int width, int height) {
    char pattern[] = "/tmp/vantrel-frame-XXXXXX";
    const std::filesystem::path dir = mkdtemp(pattern);
    const auto raw = dir / "frame.rgb";
    runCapturing("ffmpeg -v error -y -ss " + std::to_string(seconds) + " -i " + shellQuote(file.string()) +
                     " -frames:v 1 -f rawvideo -pix_fmt rgb24 " + shellQuote(raw.string()),
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
