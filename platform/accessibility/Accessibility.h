#pragma once
// The accessibility service under the names the logic uses (AXUIElement and
// its attributes). On Linux it is AT-SPI2 through libatspi: the system-wide
// element stands for the desktop, "AXFocusedUIElement" for the element with
// the keyboard focus, "AXPosition"/"AXSize" for its extents in root
// coordinates (top left, y down), "AXRole" for its role mapped onto the AX
// role names, "AXTitle"/"AXDescription"/"AXHelp" for name, description and
// tooltip.
//
// Every call talks to other processes and may block up to the backend's
// time-out: call from the accessibility queue only, never the main thread.

#include "platform/core/Geometry.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace vantrel {

using AXError = int;
inline constexpr AXError kAXErrorSuccess = 0;
inline constexpr AXError kAXErrorFailure = -25200;
inline constexpr AXError kAXErrorCannotComplete = -25204;
inline constexpr AXError kAXErrorAttributeUnsupported = -25205;
inline constexpr AXError kAXErrorNoValue = -25212;
inline constexpr AXError kAXErrorAPIDisabled = -25211;

/// An element of some application; what it holds is the backend's business.
struct AXUIElement {
    virtual ~AXUIElement() = default;
};
using AXUIElementRef = std::shared_ptr<const AXUIElement>;

/// What an attribute can hold. The alternatives stand for the type IDs the
/// logic checks (AXUIElementGetTypeID, AXValueGetTypeID with a point or a
/// size, a string).
using AXAttributeValue = std::variant<AXUIElementRef, CGPoint, CGSize, std::string>;

class Accessibility {
public:
    virtual ~Accessibility() = default;
    virtual AXUIElementRef createSystemWide() = 0;
    /// 0 and a value, or an error and no value.
    virtual AXError copyAttributeValue(const AXUIElementRef& element, std::string_view attribute,
                                       std::optional<AXAttributeValue>& value) = 0;
    /// The deepest element at (x, y), root coordinates of the desktop.
    virtual AXError copyElementAtPosition(const AXUIElementRef& application, float x, float y,
                                          AXUIElementRef& element) = 0;

    /// The session's service, made at first use; tests replace it.
    static std::shared_ptr<Accessibility> shared();
    static void setShared(std::shared_ptr<Accessibility> accessibility);
};

// The calls under the names the logic uses; they go to Accessibility::shared().
AXUIElementRef AXUIElementCreateSystemWide();
AXError AXUIElementCopyAttributeValue(const AXUIElementRef& element, std::string_view attribute,
                                      std::optional<AXAttributeValue>& value);
AXError AXUIElementCopyElementAtPosition(const AXUIElementRef& application, float x, float y,
                                         AXUIElementRef& element);

enum AXValueType { kAXValueTypeCGPoint = 1, kAXValueTypeCGSize = 2 };
/// Fills `out` when the value holds that type; false otherwise.
bool AXValueGetValue(const AXAttributeValue& value, AXValueType type, void* out);
/// The value is an element (AXUIElementGetTypeID), a point or size (AXValueGetTypeID).
bool isAXUIElement(const AXAttributeValue& value);
bool isAXValue(const AXAttributeValue& value);

} // namespace vantrel
