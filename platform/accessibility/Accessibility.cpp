#include "platform/accessibility/Accessibility.h"

#include "platform/accessibility/AccessibilityFake.h"
#include "platform/core/SharedInstance.h"

#include <thread>

namespace vantrel {

namespace {

// Without a backend (none was set), every call fails as an API that is off would.
class AccessibilityUnavailable final : public Accessibility {
public:
    AXUIElementRef createSystemWide() override { return std::make_shared<AXUIElement>(); }
    AXError copyAttributeValue(const AXUIElementRef&, std::string_view,
                               std::optional<AXAttributeValue>& value) override {
        value.reset();
        return kAXErrorAPIDisabled;
    }
    AXError copyElementAtPosition(const AXUIElementRef&, float, float, AXUIElementRef& element) override {
        element.reset();
        return kAXErrorAPIDisabled;
    }
};

} // namespace

std::shared_ptr<Accessibility> Accessibility::shared() {
    return SharedInstance<Accessibility>::getOrMake(
        [] { return std::make_shared<AccessibilityUnavailable>(); });
}

void Accessibility::setShared(std::shared_ptr<Accessibility> accessibility) {
    SharedInstance<Accessibility>::set(std::move(accessibility));
}

AXUIElementRef AXUIElementCreateSystemWide() {
    return Accessibility::shared()->createSystemWide();
}

AXError AXUIElementCopyAttributeValue(const AXUIElementRef& element, std::string_view attribute,
                                      std::optional<AXAttributeValue>& value) {
    return Accessibility::shared()->copyAttributeValue(element, attribute, value);
}

AXError AXUIElementCopyElementAtPosition(const AXUIElementRef& application, float x, float y,
                                         AXUIElementRef& element) {
    return Accessibility::shared()->copyElementAtPosition(application, x, y, element);
}

bool AXValueGetValue(const AXAttributeValue& value, AXValueType type, void* out) {
    if (type == kAXValueTypeCGPoint && std::holds_alternative<CGPoint>(value)) {
        *static_cast<CGPoint*>(out) = std::get<CGPoint>(value);
        return true;
    }
    if (type == kAXValueTypeCGSize && std::holds_alternative<CGSize>(value)) {
        *static_cast<CGSize*>(out) = std::get<CGSize>(value);
        return true;
    }
    return false;
}

bool isAXUIElement(const AXAttributeValue& value) {
    return std::holds_alternative<AXUIElementRef>(value) && std::get<AXUIElementRef>(value) != nullptr;
}

bool isAXValue(const AXAttributeValue& value) {
    return std::holds_alternative<CGPoint>(value) || std::holds_alternative<CGSize>(value);
}

// --- Fake -----------------------------------------------------------------

std::shared_ptr<AccessibilityFake::Element>
AccessibilityFake::element(std::map<std::string, AXAttributeValue, std::less<>> attributes) {
    auto result = std::make_shared<Element>();
    result->attributes = std::move(attributes);
    return result;
}

void AccessibilityFake::wait() const {
    if (const int ms = delayMs_.load()) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

AXUIElementRef AccessibilityFake::createSystemWide() {
    return systemWide_;
}

AXError AccessibilityFake::copyAttributeValue(const AXUIElementRef& element, std::string_view attribute,
                                              std::optional<AXAttributeValue>& value) {
    wait();
    value.reset();
    std::lock_guard lock(mutex_);
    if (element == systemWide_ && attribute == "AXFocusedUIElement") {
        ++focusReads_;
        if (!focused_) return kAXErrorNoValue;
        value = AXUIElementRef(focused_);
        return kAXErrorSuccess;
    }
    auto* fake = dynamic_cast<const Element*>(element.get());
    if (!fake) return kAXErrorFailure;
    auto found = fake->attributes.find(attribute);
    if (found == fake->attributes.end()) return kAXErrorAttributeUnsupported;
    value = found->second;
    return kAXErrorSuccess;
}

AXError AccessibilityFake::copyElementAtPosition(const AXUIElementRef&, float x, float y,
                                                 AXUIElementRef& element) {
    wait();
    element.reset();
    std::lock_guard lock(mutex_);
    ++hitTests_;
    lastHitPoint_ = CGPoint{x, y};
    for (auto it = elements_.rbegin(); it != elements_.rend(); ++it)
        if (x >= it->first.minX() && x < it->first.maxX() && y >= it->first.minY() && y < it->first.maxY()) {
            element = it->second;
            return kAXErrorSuccess;
        }
    return kAXErrorNoValue;
}

void AccessibilityFake::setFocused(std::shared_ptr<Element> focused) {
    std::lock_guard lock(mutex_);
    focused_ = std::move(focused);
}

void AccessibilityFake::addElementAt(CGRect rect, std::shared_ptr<Element> element) {
    std::lock_guard lock(mutex_);
    elements_.emplace_back(rect, std::move(element));
}

void AccessibilityFake::clearElements() {
    std::lock_guard lock(mutex_);
    elements_.clear();
}

std::optional<CGPoint> AccessibilityFake::lastHitPoint() const {
    std::lock_guard lock(mutex_);
    return lastHitPoint_;
}

} // namespace vantrel
