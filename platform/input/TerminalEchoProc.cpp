#include "platform/input/TerminalEchoProc.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <termios.h>
#include <unistd.h>

namespace vantrel {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kRescanInterval{1};

std::string linkTarget(const fs::path& link) {
    std::error_code error;
    const fs::path target = fs::read_symlink(link, error);
    return error ? std::string() : target.string();
}

// The slave's index of a pty master, from its fdinfo ("tty-index:").
std::string slaveOfMaster(const fs::path& fdinfo) {
    std::ifstream info(fdinfo);
    for (std::string line; std::getline(info, line);)
        if (line.rfind("tty-index:", 0) == 0) {
            const auto digits = line.find_first_of("0123456789");
            if (digits != std::string::npos) return "/dev/pts/" + line.substr(digits);
        }
    return {};
}

std::vector<pid_t> childrenOf(pid_t process) {
    std::vector<pid_t> children;
    std::error_code error;
    for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(process) + "/task", error)) {
        std::ifstream list(task.path() / "children");
        for (pid_t child; list >> child;)
            children.push_back(child);
    }
    return children;
}

} // namespace

std::vector<std::string> TerminalEchoProc::ptysOf(pid_t terminal) {
    std::vector<std::string> ptys;
    const fs::path process = "/proc/" + std::to_string(terminal);
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(process / "fd", error)) {
        const std::string target = linkTarget(entry.path());
        if (target != "/dev/ptmx" && target != "/dev/pts/ptmx") continue;
        const std::string slave = slaveOfMaster(process / "fdinfo" / entry.path().filename());
        if (!slave.empty()) ptys.push_back(slave);
    }
    if (ptys.empty())
        for (pid_t child : childrenOf(terminal)) {
            const std::string input = linkTarget("/proc/" + std::to_string(child) + "/fd/0");
            if (input.rfind("/dev/pts/", 0) == 0) ptys.push_back(input);
        }
    std::sort(ptys.begin(), ptys.end());
    ptys.erase(std::unique(ptys.begin(), ptys.end()), ptys.end());
    return ptys;
}

bool TerminalEchoProc::readsPassword(pid_t terminal) {
    if (terminal <= 0) return false;
    const auto now = std::chrono::steady_clock::now();
    if (terminal != terminal_ || now - found_ > kRescanInterval) {
        terminal_ = terminal;
        found_ = now;
        ptys_ = ptysOf(terminal);
    }
    return std::any_of(ptys_.begin(), ptys_.end(), [](const std::string& pty) {
        const int fd = open(pty.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) return false;
        termios flags{};
        const bool password = tcgetattr(fd, &flags) == 0 && !(flags.c_lflag & ECHO) && (flags.c_lflag & ICANON);
        close(fd);
        return password;
    });
}

} // namespace vantrel
