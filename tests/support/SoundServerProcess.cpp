#include "SoundServerProcess.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace vantrel::test {

namespace {
constexpr auto kStartTimeout = std::chrono::seconds(10);
}

SoundServerProcess::SoundServerProcess() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vantrel-sound-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    dir_ = pattern;
    const std::string socket = (dir_ / "pulse.sock").string();
    address_ = "unix:" + socket;
    const std::vector<std::string> argv = {
        "pulseaudio",
        "-n",
        "--daemonize=no",
        "--exit-idle-time=-1",
        "--disallow-exit",
        "--use-pid-file=no",
        "-L",
        "module-native-protocol-unix auth-anonymous=1 socket=" + socket,
        "-L",
        "module-null-sink sink_name=rec_sink rate=48000",
        "-L",
        "module-null-sink sink_name=mic_feed",
        "-L",
        "module-remap-source master=mic_feed.monitor source_name=virtual_mic"};
    pid_ = fork();
    if (pid_ == 0) {
        // Runtime files in our folder, and off the session bus, where the
        // shared daemon holds its name.
        setenv("XDG_RUNTIME_DIR", dir_.c_str(), 1);
        setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (dir_ / "no-bus").string()).c_str(), 1);
        const int devNull = ::open("/dev/null", O_RDWR);
        dup2(devNull, STDIN_FILENO);
        dup2(devNull, STDOUT_FILENO);
        dup2(devNull, STDERR_FILENO);
        std::vector<char*> args;
        for (const auto& a : argv)
            args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    serverEnv_.emplace("PULSE_SERVER", address_);
    const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
    while (!runCommand("pactl info >/dev/null 2>&1")) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill();
            throw std::runtime_error("pulseaudio did not start");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

SoundServerProcess::~SoundServerProcess() {
    serverEnv_.reset();
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
}

void SoundServerProcess::kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}


} // namespace vantrel::test
