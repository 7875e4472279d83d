#pragma once
// A top-level window on the test's X server whose picture is known pixel by
// pixel: its background pixmap holds a pattern, so the server repaints it by
// itself whenever it is exposed or redirected. The window belongs either to
// this process or to a child process (another X client with its own PID, as
// the X-Resource extension reports it). Either way this process moves, maps
// and unmaps it through a connection of its own; every call returns once the
// server has handled it.

#include <cstdint>
#include <functional>
#include <sys/types.h>

struct xcb_connection_t;

namespace vantrel::test {

class PatternWindow {
public:
    /// 0x00RRGGBB for the window pixel at (x, y).
    using Pattern = std::function<uint32_t(int x, int y)>;
    enum class Owner { thisProcess, childProcess };

    /// Made and mapped at (x, y) in root coordinates, without a border.
    PatternWindow(int x, int y, int width, int height, Pattern pattern, Owner owner);
    ~PatternWindow();
    PatternWindow(const PatternWindow&) = delete;
    PatternWindow& operator=(const PatternWindow&) = delete;

    bool isValid() const { return window_ != 0; }
    uint32_t id() const { return window_; }
    /// The owner's PID: ours or the child's.
    pid_t ownerPid() const { return ownerPid_; }

    void map();
    void unmap();
    void moveTo(int x, int y);

    /// The colour a solid window shows everywhere.
    static Pattern solid(uint32_t rgb);

private:
    void sync();
    xcb_connection_t* connection_ = nullptr;
    uint32_t window_ = 0;
    Pattern pattern_;
    pid_t ownerPid_ = 0;
    pid_t child_ = -1;
    int keepAlive_ = -1; // the child lives until this pipe closes
};

} // namespace vantrel::test
