#pragma once
// Microphones from the PulseAudio server (or PipeWire through pipewire-pulse):
// every source that is not the monitor of a sink, by source name and
// description, in the server's order; the default is the server's default
// source. The connection lives on a pa_threaded_mainloop thread of its own;
// source and server events make it read the list again and then tell the
// main thread. A server that is absent or goes away gives an empty list, and
// the connection is tried again every few seconds.

#include "platform/camera/CaptureDevice.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

namespace vantrel {

class MicrophoneListPulse final : public CaptureDeviceList {
public:
    /// Connects to the server of $PULSE_SERVER (or the user's) and waits up to
    /// `firstListTimeout` for the first list, so that it is there from the start.
    explicit MicrophoneListPulse(
        std::chrono::milliseconds firstListTimeout = std::chrono::milliseconds(1500));
    ~MicrophoneListPulse() override;

    std::vector<AVCaptureDevice> devices() const override;
    /// The server's default source if it is a microphone, else the first
    /// microphone (a default that is a monitor is not one), else none.
    std::optional<AVCaptureDevice> defaultDevice() const override;

    static constexpr std::chrono::seconds kReconnectInterval{2};

private:
    struct Connection;
    struct Anchor {
        MicrophoneListPulse* owner;
    };

    /// Pulse thread: the new list is in place; the handlers run on the main thread.
    void publish(std::vector<AVCaptureDevice> sources, std::string defaultSourceName);

    mutable std::mutex mutex_;
    std::vector<AVCaptureDevice> sources_;
    std::string defaultSourceName_;
    std::shared_ptr<Anchor> anchor_;
    std::unique_ptr<Connection> connection_;
};

} // namespace vantrel
