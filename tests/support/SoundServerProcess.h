#pragma once
// A PulseAudio daemon that a test may break: started with the layout of the
// shared test daemon (null sinks `rec_sink` at 48 kHz and `mic_feed`, the
// source `virtual_mic` remapped from mic_feed's monitor), PULSE_SERVER
// pointing at it while alive, and killable mid-test, as when the user's
// sound server crashes.

#include "TestServices.h"

#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>

namespace vantrel::test {

class SoundServerProcess {
public:
    /// Throws std::runtime_error when the daemon does not answer within a few seconds.
    SoundServerProcess();
    ~SoundServerProcess();
    SoundServerProcess(const SoundServerProcess&) = delete;
    SoundServerProcess& operator=(const SoundServerProcess&) = delete;

    /// "unix:<socket>", as in PULSE_SERVER.
    const std::string& address() const { return address_; }
    /// SIGKILL: no goodbye to the clients.
    void kill();

private:
    pid_t pid_ = -1;
    std::filesystem::path dir_;
    std::string address_;
    std::optional<ScopedEnv> serverEnv_;
};


} // namespace vantrel::test
