#include "TestServices.h"

#include <QDeadlineTimer>
#include <QThread>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace vantrel::test {

namespace {

constexpr int kStartTimeoutMs = 10000;

// Starts `argv` with `inheritFd` left open in the child; stdout and stderr go to /dev/null.
pid_t spawn(const std::vector<std::string>& argv, int inheritFd = -1) {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    const int devNull = ::open("/dev/null", O_RDWR);
    dup2(devNull, STDIN_FILENO);
    dup2(devNull, STDOUT_FILENO);
    dup2(devNull, STDERR_FILENO);
    if (inheritFd >= 0) fcntl(inheritFd, F_SETFD, 0);
    std::vector<char*> args;
    for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
}

// Reads one line a child writes into a pipe, such as a display number or bus address.
std::string readLine(int fd) {
    std::string line;
    QDeadlineTimer deadline(kStartTimeoutMs);
    while (!deadline.hasExpired()) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(deadline.remainingTime())) <= 0) break;
        char c;
        if (read(fd, &c, 1) != 1) break;
        if (c == '\n') return line;
        line.push_back(c);
    }
    return line;
}

void stop(pid_t& pid) {
    if (pid <= 0) return;
    ::kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    pid = -1;
}

} // namespace

QCoreApplication& qtApp() {
    if (auto* app = QCoreApplication::instance()) return *app;
    static int argc = 1;
    static char name[] = "vantrel-tests";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    return app;
}

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    qtApp();
    QDeadlineTimer deadline(timeout);
    while (!done()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(2);
    }
    return true;
}

void runMainLoopFor(std::chrono::milliseconds duration) {
    waitUntil([] { return false; }, duration);
}

ScopedEnv::ScopedEnv(const char* name, const std::string& value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    setenv(name, value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
    if (old_)
        setenv(name_.c_str(), old_->c_str(), 1);
    else
        unsetenv(name_.c_str());
}

TempHome::TempHome() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vantrel-home-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    home_ = pattern;
    std::filesystem::create_directories(home_ / ".config");
    homeEnv_.emplace("HOME", home_.string());
    configEnv_.emplace("XDG_CONFIG_HOME", (home_ / ".config").string());
}

TempHome::~TempHome() {
    std::error_code ignored;
    std::filesystem::permissions(home_, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(home_, ignored);
}

XvfbServer::XvfbServer(const std::vector<std::string>& extraArguments) {
    int fds[2];
    if (pipe(fds) != 0) throw std::runtime_error("pipe failed");
    std::vector<std::string> arguments = {"Xvfb", "-displayfd", std::to_string(fds[1]), "-screen", "0",
                                          "1920x1080x24", "+extension", "RANDR", "-nolisten", "tcp", "-noreset"};
    arguments.insert(arguments.end(), extraArguments.begin(), extraArguments.end());
    pid_ = spawn(arguments, fds[1]);
    close(fds[1]);
    const std::string number = readLine(fds[0]);
    close(fds[0]);
    if (number.empty()) {
        stop(pid_);
        throw std::runtime_error("Xvfb did not start");
    }
    display_ = ":" + number;
    displayEnv_.emplace("DISPLAY", display_);
}

XvfbServer::~XvfbServer() {
    kill();
}

void XvfbServer::kill() {
    stop(pid_);
}

bool XvfbServer::setMonitor(const std::string& name, int width, int height, int x, int y) {
    // Physical sizes only matter for DPI; 96 dpi keeps them plausible.
    const int widthMm = width * 254 / 960, heightMm = height * 254 / 960;
    return runCommand("DISPLAY=" + display_ + " xrandr --setmonitor " + name + " " + std::to_string(width) +
                      "/" + std::to_string(widthMm) + "x" + std::to_string(height) + "/" +
                      std::to_string(heightMm) + "+" + std::to_string(x) + "+" + std::to_string(y) + " none");
}

bool XvfbServer::deleteMonitor(const std::string& name) {
    return runCommand("DISPLAY=" + display_ + " xrandr --delmonitor " + name);
}

PrivateSessionBus::PrivateSessionBus(Accessibility accessibility) {
    std::string pattern = (std::filesystem::temp_directory_path() / "vantrel-bus-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    runtimeDir_ = pattern;
    std::vector<std::string> command = {"dbus-daemon", "--nofork"};
    if (accessibility == Accessibility::none) {
        // The standard session config would start the accessibility bus on
        // demand (D-Bus activation); a bus without service folders cannot.
        const auto config = runtimeDir_ / "bus.conf";
        std::ofstream(config)
            << "<busconfig><type>session</type><listen>unix:dir=" << runtimeDir_.string()
            << "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow "
               "send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow "
               "own=\"*\"/></policy></busconfig>\n";
        command.push_back("--config-file=" + config.string());
    } else {
        command.push_back("--session");
    }
    int fds[2];
    if (pipe(fds) != 0) throw std::runtime_error("pipe failed");
    command.push_back("--print-address=" + std::to_string(fds[1]));
    busPid_ = spawn(command, fds[1]);
    close(fds[1]);
    address_ = readLine(fds[0]);
    close(fds[0]);
    if (address_.empty()) {
        stop(busPid_);
        throw std::runtime_error("dbus-daemon did not start");
    }
    if (accessibility == Accessibility::none) return;
    // The launcher puts its socket under $XDG_RUNTIME_DIR/at-spi/: a folder of
    // our own keeps it away from the session's accessibility bus.
    const ScopedEnv bus("DBUS_SESSION_BUS_ADDRESS", address_);
    const ScopedEnv runtime("XDG_RUNTIME_DIR", runtimeDir_.string());
    launcherPid_ = spawn({"/usr/libexec/at-spi-bus-launcher", "--launch-immediately",
                          accessibility == Accessibility::enabled ? "--a11y=1" : "--a11y=0"});
    // The launcher owns org.a11y.Bus once it is ready.
    const std::string probe = "DBUS_SESSION_BUS_ADDRESS='" + address_ +
                              "' dbus-send --session --print-reply --dest=org.freedesktop.DBus / "
                              "org.freedesktop.DBus.GetNameOwner string:org.a11y.Bus >/dev/null 2>&1";
    QDeadlineTimer deadline(kStartTimeoutMs);
    while (!runCommand(probe)) {
        if (deadline.hasExpired()) throw std::runtime_error("at-spi-bus-launcher did not start");
        QThread::msleep(20);
    }
}

PrivateSessionBus::~PrivateSessionBus() {
    stop(launcherPid_);
    stop(busPid_);
    std::error_code ignored;
    std::filesystem::remove_all(runtimeDir_, ignored);
}

PrivateSoundServer::PrivateSoundServer() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vantrel-pulse-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    dir_ = pattern;
    const std::string socket = (dir_ / "pulse.sock").string();
    {
        // The daemon keeps its runtime files in a folder of its own, and stays
        // off the session bus, where the shared daemon holds its D-Bus name.
        const ScopedEnv runtime("XDG_RUNTIME_DIR", dir_.string());
        const ScopedEnv bus("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (dir_ / "no-bus").string());
        pid_ = spawn({"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--disallow-exit",
                      "--use-pid-file=no", "-L", "module-native-protocol-unix auth-anonymous=1 socket=" + socket,
                      "-L", "module-null-sink sink_name=rec_sink rate=48000", "-L",
                      "module-null-sink sink_name=mic_feed", "-L",
                      "module-remap-source master=mic_feed.monitor source_name=virtual_mic"});
    }
    serverEnv_.emplace("PULSE_SERVER", "unix:" + socket);
    QDeadlineTimer deadline(kStartTimeoutMs);
    while (!runCommand("pactl info >/dev/null 2>&1")) {
        if (deadline.hasExpired()) {
            stop(pid_);
            throw std::runtime_error("pulseaudio did not start");
        }
        QThread::msleep(20);
    }
}

void PrivateSoundServer::kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

PrivateSoundServer::~PrivateSoundServer() {
    serverEnv_.reset();
    stop(pid_);
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
}

bool runUnprivileged(const std::function<bool()>& check) {
    if (geteuid() != 0) return check();
    const pid_t pid = fork();
    if (pid == 0) {
        constexpr uid_t kNobody = 65534;
        if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(2);
        _exit(check() ? 0 : 1);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool runCommand(const std::string& commandLine) {
    return std::system(commandLine.c_str()) == 0;
}

} // namespace vantrel::test
