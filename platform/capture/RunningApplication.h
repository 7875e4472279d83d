#pragma once
// The running applications the shareable content lists: each process that
// owns top-level windows, with those windows, so that a capture can leave an
// application's windows out of the picture.

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace vantrel {

/// A top-level window: a child of the root (under a window manager, the frame
/// that holds the client window).
struct SCWindow {
    uint32_t windowID = 0;
    friend bool operator==(const SCWindow&, const SCWindow&) = default;
};

struct SCRunningApplication {
    pid_t processID = 0;
    std::string applicationName;
    std::vector<SCWindow> windows;
    friend bool operator==(const SCRunningApplication&, const SCRunningApplication&) = default;
};

} // namespace vantrel
