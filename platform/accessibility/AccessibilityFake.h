#pragma once
// An accessibility service that shows what a test put in it: a focused
// element and elements at rectangles, with attributes. For tests only.

#include "platform/accessibility/Accessibility.h"

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <vector>

namespace vantrel {

class AccessibilityFake final : public Accessibility {
public:
    struct Element final : AXUIElement {
        std::map<std::string, AXAttributeValue, std::less<>> attributes;
    };
    static std::shared_ptr<Element> element(std::map<std::string, AXAttributeValue, std::less<>> attributes);

    AXUIElementRef createSystemWide() override;
    AXError copyAttributeValue(const AXUIElementRef& element, std::string_view attribute,
                               std::optional<AXAttributeValue>& value) override;
    AXError copyElementAtPosition(const AXUIElementRef& application, float x, float y,
                                  AXUIElementRef& element) override;

    /// The element "AXFocusedUIElement" of the system-wide element gives; none when null.
    void setFocused(std::shared_ptr<Element> focused);
    /// An element hit at points inside `rect` (root coordinates); later ones lie on top.
    void addElementAt(CGRect rect, std::shared_ptr<Element> element);
    void clearElements();
    /// Every call waits this long first, as a slow application would make it.
    void setDelay(std::chrono::milliseconds delay) { delayMs_ = static_cast<int>(delay.count()); }

    int focusReads() const { return focusReads_; }
    int hitTests() const { return hitTests_; }
    std::optional<CGPoint> lastHitPoint() const;

private:
    void wait() const;
    mutable std::mutex mutex_;
    std::shared_ptr<Element> systemWide_ = std::make_shared<Element>();
    std::shared_ptr<Element> focused_;
    std::vector<std::pair<CGRect, std::shared_ptr<Element>>> elements_;
    std::optional<CGPoint> lastHitPoint_;
    std::atomic<int> delayMs_{0};
    std::atomic<int> focusReads_{0};
    std::atomic<int> hitTests_{0};
};

} // namespace vantrel
