#pragma once
// What tests of the services need around them: a Qt application for the main
// loop, temporary home and config folders, an X server of their own (for
// tests that change monitors), a private session bus, and a way to run a
// check as an unprivileged user (root may write anywhere).

#include <QCoreApplication>
#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace vantrel::test {

/// The process's QCoreApplication, made at first call.
QCoreApplication& qtApp();

/// Runs the main loop until `done` is true or `timeout` passes; returns `done()`.
bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);
/// Runs the main loop for `duration`.
void runMainLoopFor(std::chrono::milliseconds duration);

/// Sets an environment variable for the life of the object, then puts the old value back.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    std::optional<std::string> old_;
};

/// A fresh HOME with XDG_CONFIG_HOME inside it, removed afterwards.
class TempHome {
public:
    TempHome();
    ~TempHome();
    const std::filesystem::path& home() const { return home_; }
    std::filesystem::path configHome() const { return home_ / ".config"; }
    std::filesystem::path settingsFile() const { return configHome() / "Vantrel" / "Vantrel.conf"; }

private:
    std::filesystem::path home_;
    std::optional<ScopedEnv> homeEnv_;
    std::optional<ScopedEnv> configEnv_;
};

/// An Xvfb of its own (1920x1080, RandR, and `extraArguments`), and DISPLAY
/// pointing at it while alive.
class XvfbServer {
public:
    explicit XvfbServer(const std::vector<std::string>& extraArguments = {});
    ~XvfbServer();
    const std::string& display() const { return display_; }
    /// `xrandr --setmonitor NAME W/MMxH/MM+X+Y none`; true when xrandr succeeded.
    bool setMonitor(const std::string& name, int width, int height, int x, int y);
    bool deleteMonitor(const std::string& name);
    /// Stops the server, as when the X session ends.
    void kill();

private:
    pid_t pid_ = -1;
    std::string display_;
    std::optional<ScopedEnv> displayEnv_;
};

/// A session bus of its own, optionally with the accessibility bus launcher.
class PrivateSessionBus {
public:
    enum class Accessibility { none, enabled, disabled };
    explicit PrivateSessionBus(Accessibility accessibility);
    ~PrivateSessionBus();
    const std::string& address() const { return address_; }

private:
    pid_t busPid_ = -1;
    pid_t launcherPid_ = -1;
    std::string address_;
    std::filesystem::path runtimeDir_;
};

/// A PulseAudio daemon of its own, set up like the shared test daemon (null
/// sinks `rec_sink` and `mic_feed`, and `virtual_mic` remapped from
/// `mic_feed.monitor`), with PULSE_SERVER pointing at it while alive: for
/// tests that change the server's defaults, which would disturb tests
/// running beside them on the shared daemon, or that kill the server.
class PrivateSoundServer {
public:
    /// Throws std::runtime_error when the daemon does not answer in time.
    PrivateSoundServer();
    ~PrivateSoundServer();
    PrivateSoundServer(const PrivateSoundServer&) = delete;
    PrivateSoundServer& operator=(const PrivateSoundServer&) = delete;
    /// SIGKILL: no goodbye to the clients.
    void kill();

private:
    pid_t pid_ = -1;
    std::filesystem::path dir_;
    std::optional<ScopedEnv> serverEnv_;
};

/// Runs `check` as user and group 65534 in a child process when we are root,
/// in this process otherwise; gives its answer.
bool runUnprivileged(const std::function<bool()>& check);

/// Runs a shell command line; true when it exits with 0.
bool runCommand(const std::string& commandLine);

} // namespace vantrel::test
