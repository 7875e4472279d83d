// vantrel-a11y: finds controls on the accessibility bus as a screen reader
// does, by application, role and name, and presses them through their action.
//   vantrel-a11y --app NAME [--role ROLE] [--name NAME] [--press] [--timeout SECONDS]
// Prints "role<TAB>name" for every match (every named element without
// --role and --name); exits 0 when something matched (and was pressed), 1 when nothing
// did before the time-out, 2 on a bad flag.
#include <atspi/atspi.h>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Options {
    std::string app, role, name;
    bool press = false;
    double timeoutSeconds = 0;
};

// Deep enough for Qt Quick's item trees; bounded so that a cycle cannot hang us.
constexpr int kMaxDepth = 40;

std::string take(gchar* text) {
    std::string value = text ? text : "";
    g_free(text);
    return value;
}

bool sameText(const std::string& a, const std::string& b) {
    return a.size() == b.size() && strncasecmp(a.c_str(), b.c_str(), a.size()) == 0;
}

bool press(AtspiAccessible* element) {
    AtspiAction* action = atspi_accessible_get_action_iface(element);
    if (!action) return false;
    const int count = atspi_action_get_n_actions(action, nullptr);
    int chosen = count > 0 ? 0 : -1;
    for (int i = 0; i < count; ++i) {
        const std::string actionName = take(atspi_action_get_action_name(action, i, nullptr));
        if (sameText(actionName, "press") || sameText(actionName, "click")) chosen = i;
    }
    const bool done = chosen >= 0 && atspi_action_do_action(action, chosen, nullptr);
    g_object_unref(action);
    return done;
}

void walk(AtspiAccessible* element, int depth, const Options& options, int& matches) {
    if (depth > kMaxDepth) return;
    const std::string role = take(atspi_accessible_get_role_name(element, nullptr));
    const std::string name = take(atspi_accessible_get_name(element, nullptr));
    const bool listAll = options.role.empty() && options.name.empty();
    if ((options.role.empty() || sameText(role, options.role)) &&
        (options.name.empty() || name == options.name) && (!listAll || !name.empty())) {
        if (!options.press || press(element)) {
            std::printf("%s\t%s\n", role.c_str(), name.c_str());
            ++matches;
        }
    }
    const int children = atspi_accessible_get_child_count(element, nullptr);
    for (int i = 0; i < children; ++i) {
        if (AtspiAccessible* child = atspi_accessible_get_child_at_index(element, i, nullptr)) {
            walk(child, depth + 1, options, matches);
            g_object_unref(child);
        }
    }
}

int search(const Options& options) {
    AtspiAccessible* desktop = atspi_get_desktop(0);
    int matches = 0;
    const int apps = atspi_accessible_get_child_count(desktop, nullptr);
    for (int i = 0; i < apps && matches == 0; ++i) {
        AtspiAccessible* app = atspi_accessible_get_child_at_index(desktop, i, nullptr);
        if (!app) continue;
        if (sameText(take(atspi_accessible_get_name(app, nullptr)), options.app)) {
            // Names change as pages come and go: ask the application, not a cache of what it said.
            atspi_accessible_set_cache_mask(app, ATSPI_CACHE_NONE);
            walk(app, 0, options, matches);
        }
        g_object_unref(app);
    }
    g_object_unref(desktop);
    return matches;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        const bool hasValue = i + 1 < argc;
        if (flag == "--app" && hasValue)
            options.app = argv[++i];
        else if (flag == "--role" && hasValue)
            options.role = argv[++i];
        else if (flag == "--name" && hasValue)
            options.name = argv[++i];
        else if (flag == "--timeout" && hasValue)
            options.timeoutSeconds = std::atof(argv[++i]);
        else if (flag == "--press")
            options.press = true;
        else {
            std::fprintf(stderr, "usage: %s --app NAME [--role ROLE] [--name NAME] [--press] [--timeout S]\n",
                         argv[0]);
            return 2;
        }
    }
    if (options.app.empty()) return 2;
    if (atspi_init() < 0) {
        std::fprintf(stderr, "no accessibility bus\n");
        return 1;
    }
    // An application registers its tree some time after its window shows: ask again until the time-out.
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(static_cast<long>(options.timeoutSeconds * 1000));
    for (;;) {
        if (search(options) > 0) return 0;
        if (std::chrono::steady_clock::now() >= deadline) return 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
}
