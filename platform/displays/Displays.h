#pragma once
// Displays under the names the logic uses (ScreenCaptureKit's SCDisplay,
// Core Graphics' display functions, AppKit's NSScreen), built on DisplayList.
//
// A display ID is the 32-bit FNV-1a hash of the monitor's name ("DP-1"),
// never 0, so the same monitor keeps its ID across restarts and replugging.
// A pixel is a point on X11. The main display is the RandR primary monitor,
// else the first.
//
// CGMainDisplayID, CGDisplayBounds and NSScreen::screens answer from the
// display list's snapshot (DisplayList::snapshot): no round trip, so the input
// path may call them for every pointer event. Whoever changes the monitors
// and must see the change at once reads DisplayList::shared()->monitors().

#include "platform/displays/DisplayList.h"
#include "platform/core/Geometry.h"
#include "platform/capture/RunningApplication.h"
#include "platform/core/SharedTypes.h"

#include <QCoro/QCoroTask>
#include <QVariant>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vantrel {

CGDirectDisplayID displayIDForMonitorName(std::string_view name);

struct SCDisplay {
    CGDirectDisplayID displayID = 0;
    int width = 0;  // pixels
    int height = 0; // pixels
    CGRect frame;   // root coordinates, as CGDisplayBounds
    friend bool operator==(const SCDisplay&, const SCDisplay&) = default;
};

struct SCShareableContent {
    std::vector<SCDisplay> displays;
    /// The processes that own top-level windows now (ScreenCaptureService::applications()).
    std::vector<SCRunningApplication> applications;

    /// The displays and applications now, in the server's order. Throws
    /// DisplayServiceError when the display server cannot be asked. Main thread.
    static QCoro::Task<SCShareableContent> getShareableContent(bool excludingDesktopWindows,
                                                               bool onScreenWindowsOnly);
};

/// The main display's ID; 0 when no display server answers.
CGDirectDisplayID CGMainDisplayID();

/// A display's rectangle in root coordinates (origin top left of the screen,
/// y down); an empty rectangle for an unknown display.
CGRect CGDisplayBounds(CGDirectDisplayID display);

/// Turns a rectangle in root coordinates into the global space of NSScreen
/// frames and focused-element rectangles: origin at the lower-left corner of
/// the main display, y up. The one place where y flips.
CGRect globalRectFromRootRect(const CGRect& rootRect, const CGRect& mainDisplayRootRect);

struct NSScreen {
    CGRect frame; // global space: origin lower left of the main screen, y up
    /// "NSScreenNumber" holds the display ID as an unsigned 32-bit QVariant.
    std::map<std::string, QVariant> deviceDescription;
    /// The EDID product name when the monitor has one, else the output name.
    std::string localizedName;

    /// All screens, the main one first. Empty when no display server answers.
    static std::vector<NSScreen> screens();
};

enum CGDisplayChangeSummaryFlags : uint32_t {
    kCGDisplayBeginConfigurationFlag = 1 << 0,
    kCGDisplayMovedFlag = 1 << 1,
    kCGDisplaySetMainFlag = 1 << 2,
    kCGDisplaySetModeFlag = 1 << 3,
    kCGDisplayAddFlag = 1 << 4,
    kCGDisplayRemoveFlag = 1 << 5,
};

using CGDisplayReconfigurationCallBack = void (*)(CGDirectDisplayID display, uint32_t flags, void* userInfo);

/// When the monitors change, the callback is called once with the begin flag
/// for each display concerned, then once more for each with what changed.
/// Calls arrive on the main thread. Register on the main thread.
void CGDisplayRegisterReconfigurationCallback(CGDisplayReconfigurationCallBack callback, void* userInfo);
void CGDisplayRemoveReconfigurationCallback(CGDisplayReconfigurationCallBack callback, void* userInfo);

} // namespace vantrel
