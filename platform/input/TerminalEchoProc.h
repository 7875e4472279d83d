#pragma once
// Whether a terminal emulator's program in the foreground is reading a
// password: sudo, ssh, passwd and `read -s` turn echo off on the terminal
// while keeping its line editing (canonical mode). Full-screen programs and
// shells' line editors turn both off, and those keys stay visible.
//
// The terminal's ptys come from /proc/PID/fd (the pty masters, whose fdinfo
// names the slave's index), or else from the standard input of its
// children, found once per focus and again at most once a second (a new
// tab); their flags from tcgetattr on the slave. The slave is opened only for
// that call: a slave held open would keep the terminal from ever seeing its
// shell exit. A terminal with several ptys (tabs) counts as reading a
// password while any of them is.

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace vantrel {

class TerminalEchoProc {
public:
    /// True when a pty of `terminal` has echo off in canonical mode. A process
    /// that holds no pty (any other program) gives false.
    bool readsPassword(pid_t terminal);

    /// The slave ptys of `terminal` as paths under /dev/pts.
    static std::vector<std::string> ptysOf(pid_t terminal);

private:
    pid_t terminal_ = 0;
    std::chrono::steady_clock::time_point found_;
    std::vector<std::string> ptys_;
};

} // namespace vantrel
