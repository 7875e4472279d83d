#include "platform/accessibility/AccessibilityAtspi.h"

#include "platform/accessibility/AccessibilityRoles.h"
#include "platform/capture/XcbWindows.h"
#include "platform/displays/Displays.h"
#include "platform/input/InputEvents.h"

#include <atspi/atspi.h>
#include <cmath>
#include <unistd.h>
#include <condition_variable>
#include <functional>
#include <future>
#include <thread>

namespace vantrel {

namespace {

constexpr int kMaximumDepth = 64; // hit tests descend no deeper than this

struct GObjectUnref {
    void operator()(gpointer object) const {
        if (object) g_object_unref(object);
    }
};
template <typename T> using GRef = std::unique_ptr<T, GObjectUnref>;

bool hasState(AtspiAccessible* object, AtspiStateType state) {
    GRef<AtspiStateSet> states(atspi_accessible_get_state_set(object));
    return states && atspi_state_set_contains(states.get(), state);
}

AtspiRole roleOf(AtspiAccessible* object) {
    return atspi_accessible_get_role(object, nullptr);
}

std::optional<AtspiRect> extentsOf(AtspiAccessible* object) {
    GRef<AtspiComponent> component(atspi_accessible_get_component_iface(object));
    if (!component) return std::nullopt;
    GError* error = nullptr;
    AtspiRect* rect = atspi_component_get_extents(component.get(), ATSPI_COORD_TYPE_SCREEN, &error);
    if (error) {
        g_error_free(error);
        return std::nullopt;
    }
    if (!rect) return std::nullopt;
    AtspiRect result = *rect;
    g_free(rect);
    return result;
}

std::string takeString(gchar* text) {
    std::string result = text ? text : "";
    g_free(text);
    return result;
}

// The main display's top left in root coordinates: accessibility positions
// are measured from there, as the logic expects.
CGPoint mainOrigin() {
    return CGDisplayBounds(CGMainDisplayID()).origin;
}

} // namespace

class AccessibilityAtspi::Worker : public std::enable_shared_from_this<Worker> {
public:
    struct Element final : AXUIElement {
        Element(std::weak_ptr<Worker> worker, AtspiAccessible* object)
            : worker(std::move(worker)), object(object) {}
        ~Element() override {
            // libatspi objects are released on the thread that owns them.
            if (!object) return;
            if (auto owner = worker.lock()) owner->post([object = object] { g_object_unref(object); });
        }
        std::weak_ptr<Worker> worker;
        AtspiAccessible* object; // null for the system-wide element
    };

    Worker() : context_(g_main_context_new()), loop_(g_main_loop_new(context_, FALSE)) {}

    ~Worker() {
        post([this] {
            if (listener_) {
                atspi_event_listener_deregister(listener_, "object:state-changed:focused", nullptr);
                g_object_unref(listener_);
            }
            if (focused_) g_object_unref(focused_);
            g_main_loop_quit(loop_);
        });
        if (thread_.joinable()) thread_.join();
        g_main_loop_unref(loop_);
        g_main_context_unref(context_);
    }

    bool start() {
        std::promise<bool> started;
        auto result = started.get_future();
        thread_ = std::thread([this, &started] {
            g_main_context_push_thread_default(context_);
            const bool ok = atspi_init() <= 1;
            // Moves libatspi's bus traffic onto this thread's context, away
            // from the default one that Qt's main loop dispatches.
            if (ok) atspi_set_main_context(context_);
            if (ok) {
                atspi_set_timeout(kCallTimeoutMs, kCallTimeoutMs);
                watchFocus();
            }
            started.set_value(ok);
            if (ok) g_main_loop_run(loop_);
            g_main_context_pop_thread_default(context_);
        });
        available_ = result.get();
        if (!available_) thread_.join();
        return available_;
    }

    bool available() const { return available_; }

    void post(std::function<void()> work) {
        auto* boxed = new std::function<void()>(std::move(work));
        g_main_context_invoke_full(
            context_, G_PRIORITY_DEFAULT,
            [](gpointer data) {
                (*static_cast<std::function<void()>*>(data))();
                return G_SOURCE_REMOVE;
            },
            boxed, [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
    }

    /// Runs `work` on the worker thread and gives its result.
    template <typename T> T run(std::function<T()> work) {
        std::packaged_task<T()> task(std::move(work));
        auto result = task.get_future();
        post([&task] { task(); });
        return result.get();
    }

    AXUIElementRef wrap(AtspiAccessible* object) {
        return std::make_shared<Element>(weak_from_this(), object);
    }

    // --- On the worker thread ---

    AXError focusedElement(std::optional<AXAttributeValue>& value) {
        if (focused_ && hasState(focused_, ATSPI_STATE_FOCUSED)) {
            value = wrap(static_cast<AtspiAccessible*>(g_object_ref(focused_)));
            return kAXErrorSuccess;
        }
        if (AtspiAccessible* found = searchFocused()) {
            value = wrap(found);
            return kAXErrorSuccess;
        }
        return kAXErrorNoValue;
    }

    AXError attribute(AtspiAccessible* object, std::string_view name,
                      std::optional<AXAttributeValue>& value) {
        GError* error = nullptr;
        auto failed = [&] {
            if (!error) return false;
            g_error_free(error);
            return true;
        };
        if (name == "AXPosition" || name == "AXSize") {
            const auto extents = extentsOf(object);
            if (!extents) return kAXErrorAttributeUnsupported;
            const CGPoint origin = mainOrigin();
            if (name == "AXPosition")
                value = CGPoint{extents->x - origin.x, extents->y - origin.y};
            else
                value = CGSize{static_cast<CGFloat>(extents->width), static_cast<CGFloat>(extents->height)};
            return kAXErrorSuccess;
        }
        if (name == "AXRole") {
            AtspiRoleContext context;
            context.role = atspi_accessible_get_role(object, &error);
            if (failed()) return kAXErrorCannotComplete;
            if (GRef<AtspiAccessible> parent{atspi_accessible_get_parent(object, nullptr)})
                context.parentRole = roleOf(parent.get());
            if (context.role == ATSPI_ROLE_TEXT)
                context.singleLine = hasState(object, ATSPI_STATE_SINGLE_LINE);
            if (context.role == ATSPI_ROLE_COMBO_BOX) {
                const int children = atspi_accessible_get_child_count(object, nullptr);
                for (int i = 0; i < children && !context.hasEntryChild; ++i)
                    if (GRef<AtspiAccessible> child{atspi_accessible_get_child_at_index(object, i, nullptr)})
                        context.hasEntryChild = roleOf(child.get()) == ATSPI_ROLE_ENTRY;
            }
            value = axRoleForAtspi(context);
            return kAXErrorSuccess;
        }
        if (name == "AXTitle") {
            value = takeString(atspi_accessible_get_name(object, &error));
            return failed() ? kAXErrorCannotComplete : kAXErrorSuccess;
        }
        if (name == "AXDescription") {
            value = takeString(atspi_accessible_get_description(object, &error));
            return failed() ? kAXErrorCannotComplete : kAXErrorSuccess;
        }
        // AT-SPI of this version carries no help text.
        return kAXErrorAttributeUnsupported;
    }

    AXError elementAt(int x, int y, AXUIElementRef& element) {
        // The window the user sees at the point is the topmost one of the
        // stack, whatever order the applications registered in.
        const auto top = windows_.topmostAt(x, y, getpid());
        if (!top) return kAXErrorNoValue;
        AtspiAccessible* window = accessibleWindowFor(*top);
        if (!window) return kAXErrorNoValue;
        AtspiAccessible* deepest = window;
        for (int depth = 0; depth < kMaximumDepth; ++depth) {
            GRef<AtspiComponent> component(atspi_accessible_get_component_iface(deepest));
            if (!component) break;
            AtspiAccessible* child = atspi_component_get_accessible_at_point(
                component.get(), x, y, ATSPI_COORD_TYPE_SCREEN, nullptr);
            if (!child) break;
            if (child == deepest) {
                g_object_unref(child);
                break;
            }
            g_object_unref(deepest);
            deepest = child;
        }
        element = wrap(deepest);
        return kAXErrorSuccess;
    }

private:
    // The accessible window that stands for an X window: one of its process's
    // showing windows, the one whose extents are nearest to the window's (or
    // to its frame's), the title deciding between windows at the same place.
    AtspiAccessible* accessibleWindowFor(const xcbwindows::StackedWindow& target) {
        GRef<AtspiAccessible> desktop(atspi_get_desktop(0));
        if (!desktop) return nullptr;
        auto distance = [](const AtspiRect& a, const CGRect& b) {
            return std::abs(a.x - b.minX()) + std::abs(a.y - b.minY()) + std::abs(a.width - b.width()) +
                   std::abs(a.height - b.height());
        };
        constexpr double kOtherTitle = 1e6; // outweighs any difference of extents
        AtspiAccessible* best = nullptr;
        double bestScore = 0;
        const int applications = atspi_accessible_get_child_count(desktop.get(), nullptr);
        for (int a = 0; a < applications; ++a) {
            GRef<AtspiAccessible> application(atspi_accessible_get_child_at_index(desktop.get(), a, nullptr));
            if (!application) continue;
            // A window from a remote client has no process: any application may own it.
            if (target.processID != 0 &&
                atspi_accessible_get_process_id(application.get(), nullptr) != static_cast<guint>(target.processID))
                continue;
            const int windows = atspi_accessible_get_child_count(application.get(), nullptr);
            for (int w = 0; w < windows; ++w) {
                GRef<AtspiAccessible> candidate(
                    atspi_accessible_get_child_at_index(application.get(), w, nullptr));
                if (!candidate || !hasState(candidate.get(), ATSPI_STATE_SHOWING)) continue;
                const auto extents = extentsOf(candidate.get());
                if (!extents) continue;
                double score = std::min(distance(*extents, target.bounds), distance(*extents, target.frame));
                if (takeString(atspi_accessible_get_name(candidate.get(), nullptr)) != target.title)
                    score += kOtherTitle;
                if (!best || score < bestScore) {
                    if (best) g_object_unref(best);
                    best = candidate.release();
                    bestScore = score;
                }
            }
        }
        return best;
    }

    AtspiAccessible* searchFocused() {
        GRef<AtspiAccessible> desktop(atspi_get_desktop(0));
        if (!desktop) return nullptr;
        GRef<AtspiStateSet> states(atspi_state_set_new(nullptr));
        atspi_state_set_add(states.get(), ATSPI_STATE_FOCUSED);
        GRef<AtspiMatchRule> rule(atspi_match_rule_new(
            states.get(), ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_NONE, nullptr,
            ATSPI_Collection_MATCH_NONE, nullptr, ATSPI_Collection_MATCH_NONE, FALSE));
        const int applications = atspi_accessible_get_child_count(desktop.get(), nullptr);
        for (int a = 0; a < applications; ++a) {
            GRef<AtspiAccessible> application(atspi_accessible_get_child_at_index(desktop.get(), a, nullptr));
            if (!application) continue;
            const int windows = atspi_accessible_get_child_count(application.get(), nullptr);
            for (int w = 0; w < windows; ++w) {
                GRef<AtspiAccessible> window(
                    atspi_accessible_get_child_at_index(application.get(), w, nullptr));
                if (!window || !hasState(window.get(), ATSPI_STATE_ACTIVE)) continue;
                GRef<AtspiCollection> collection(atspi_accessible_get_collection_iface(window.get()));
                if (!collection) continue;
                GArray* matches = atspi_collection_get_matches(
                    collection.get(), rule.get(), ATSPI_Collection_SORT_ORDER_CANONICAL, 1, TRUE, nullptr);
                AtspiAccessible* found = nullptr;
                if (matches && matches->len > 0) found = g_array_index(matches, AtspiAccessible*, 0);
                if (matches) {
                    for (guint i = 1; i < matches->len; ++i)
                        g_object_unref(g_array_index(matches, AtspiAccessible*, i));
                    g_array_free(matches, TRUE);
                }
                if (found) return found;
            }
        }
        return nullptr;
    }

    void watchFocus() {
        listener_ = atspi_event_listener_new(
            [](AtspiEvent* event, void* self) {
                static_cast<Worker*>(self)->focusChanged(event);
                g_boxed_free(ATSPI_TYPE_EVENT, event);
            },
            this, nullptr);
        atspi_event_listener_register(listener_, "object:state-changed:focused", nullptr);
        // What has the focus already, before any event.
        if (AtspiAccessible* now = searchFocused()) setFocused(now);
    }

    void focusChanged(AtspiEvent* event) {
        if (!event->source) return;
        if (event->detail1) {
            setFocused(static_cast<AtspiAccessible*>(g_object_ref(event->source)));
        } else if (event->source == focused_) {
            g_object_unref(focused_);
            focused_ = nullptr;
            DisableSecureEventInput();
        }
    }

    void setFocused(AtspiAccessible* object) {
        if (focused_) g_object_unref(focused_);
        focused_ = object;
        // Checked once per focus change, so keys need no accessibility call.
        if (roleOf(object) == ATSPI_ROLE_PASSWORD_TEXT)
            EnableSecureEventInput();
        else
            DisableSecureEventInput();
    }

    GMainContext* context_;
    GMainLoop* loop_;
    std::thread thread_;
    bool available_ = false;
    AtspiEventListener* listener_ = nullptr;
    AtspiAccessible* focused_ = nullptr;
    xcbwindows::WindowStack windows_; // worker thread only
};

AccessibilityAtspi::AccessibilityAtspi() : worker_(std::make_shared<Worker>()) {
    worker_->start();
}

AccessibilityAtspi::~AccessibilityAtspi() {
    if (worker_->available()) DisableSecureEventInput();
}

bool AccessibilityAtspi::isAvailable() const {
    return worker_->available();
}

AXUIElementRef AccessibilityAtspi::createSystemWide() {
    return worker_->wrap(nullptr);
}

AXError AccessibilityAtspi::copyAttributeValue(const AXUIElementRef& element, std::string_view attribute,
                                               std::optional<AXAttributeValue>& value) {
    value.reset();
    auto* atspi = dynamic_cast<const Worker::Element*>(element.get());
    if (!atspi || !worker_->available()) return kAXErrorAPIDisabled;
    const std::string name(attribute);
    auto [error, result] = worker_->run<std::pair<AXError, std::optional<AXAttributeValue>>>([&] {
        std::optional<AXAttributeValue> out;
        AXError code;
        if (!atspi->object)
            code = name == "AXFocusedUIElement" ? worker_->focusedElement(out) : kAXErrorAttributeUnsupported;
        else
            code = worker_->attribute(atspi->object, name, out);
        return std::pair{code, std::move(out)};
    });
    value = std::move(result);
    return error;
}

AXError AccessibilityAtspi::copyElementAtPosition(const AXUIElementRef&, float x, float y,
                                                  AXUIElementRef& element) {
    element.reset();
    if (!worker_->available()) return kAXErrorAPIDisabled;
    const CGPoint origin = mainOrigin();
    const int rootX = static_cast<int>(x + origin.x), rootY = static_cast<int>(y + origin.y);
    auto [error, found] = worker_->run<std::pair<AXError, AXUIElementRef>>([&] {
        AXUIElementRef out;
        AXError code = worker_->elementAt(rootX, rootY, out);
        return std::pair{code, out};
    });
    element = std::move(found);
    return error;
}

} // namespace vantrel
