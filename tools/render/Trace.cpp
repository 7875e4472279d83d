#include "Trace.h"

#include <fstream>
#include <nlohmann/json.hpp>

namespace vantrel::tools {

namespace {

using nlohmann::json;

// Names the key path that failed, so that a bad trace is quick to mend.
[[noreturn]] void fail(const std::string& where, const std::string& what) {
    throw TraceError(where + ": " + what);
}

const json& field(const json& object, const char* key, const std::string& where) {
    if (!object.is_object()) fail(where, "expected an object");
    const auto found = object.find(key);
    if (found == object.end()) fail(where, std::string("missing field \"") + key + "\"");
    return *found;
}

double number(const json& value, const char* key, const std::string& where) {
    if (!value.is_number()) fail(where, std::string("\"") + key + "\" must be a number");
    return value.get<double>();
}

CGPoint point(const json& value, const std::string& where) {
    if (!value.is_array() || value.size() != 2 || !value[0].is_number() || !value[1].is_number())
        fail(where, "\"mouseLocation\" must be [x, y]");
    return {value[0].get<double>(), value[1].get<double>()};
}

std::optional<CGRect> rect(const json& value, const std::string& where) {
    if (value.is_null()) return std::nullopt;
    if (!value.is_array() || value.size() != 4) fail(where, "\"focusedRect\" must be [x, y, w, h] or null");
    for (const auto& v : value)
        if (!v.is_number()) fail(where, "\"focusedRect\" must hold numbers");
    return CGRect(value[0].get<double>(), value[1].get<double>(), value[2].get<double>(),
                  value[3].get<double>());
}

EventState readState(const json& s, const std::string& where) {
    EventState state;
    state.mouseLocation = point(field(s, "mouseLocation", where), where);
    const json& clicked = field(s, "isMouseClicked", where);
    if (!clicked.is_boolean()) fail(where, "\"isMouseClicked\" must be true or false");
    state.isMouseClicked = clicked.get<bool>();
    const json& keys = field(s, "activeKeys", where);
    if (!keys.is_string()) fail(where, "\"activeKeys\" must be a string");
    state.activeKeys = keys.get<std::string>();
    state.focusedRect = rect(field(s, "focusedRect", where), where);
    const json& mode = field(s, "lastInputMode", where);
    if (mode == "mouse")
        state.lastInputMode = InputMode::mouse;
    else if (mode == "keyboard")
        state.lastInputMode = InputMode::keyboard;
    else
        fail(where, "\"lastInputMode\" must be \"mouse\" or \"keyboard\"");
    state.lastInputTime = number(field(s, "lastInputTime", where), "lastInputTime", where);
    state.lastKeystrokeTime = number(field(s, "lastKeystrokeTime", where), "lastKeystrokeTime", where);
    const json& text = field(s, "cursorFollowText", where);
    if (!text.is_null() && !text.is_string()) fail(where, "\"cursorFollowText\" must be a string or null");
    if (text.is_string()) state.cursorFollowText = text.get<std::string>();
    return state;
}

TraceFrame readFrame(const std::string& line, const std::string& where) {
    json document;
    try {
        document = json::parse(line);
    } catch (const json::parse_error& error) {
        fail(where, std::string("not JSON (") + error.what() + ")");
    }
    TraceFrame frame;
    const json& pts = field(document, "pts", where);
    const json& value = field(pts, "value", where);
    const json& timescale = field(pts, "timescale", where);
    if (!value.is_number_integer() || !timescale.is_number_integer() || timescale.get<int64_t>() <= 0 ||
        timescale.get<int64_t>() > INT32_MAX)
        fail(where, "\"pts\" needs an integer value and a positive 32-bit timescale");
    frame.presentationTime = CMTime(value.get<int64_t>(), static_cast<int32_t>(timescale.get<int64_t>()));
    frame.wallSeconds = number(field(document, "wall", where), "wall", where);
    frame.state = readState(field(document, "state", where), where);
    return frame;
}

} // namespace

std::vector<TraceFrame> readTrace(std::istream& input, const std::string& sourceName) {
    std::vector<TraceFrame> frames;
    std::string line;
    for (int number = 1; std::getline(input, line); ++number) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        frames.push_back(readFrame(line, sourceName + ":" + std::to_string(number)));
    }
    return frames;
}

std::vector<TraceFrame> readTraceFile(const std::filesystem::path& path) {
    std::ifstream file(path);
    if (!file) throw TraceError(path.string() + ": cannot be read");
    return readTrace(file, path.string());
}

std::string traceLine(const TraceFrame& frame) {
    const EventState& s = frame.state;
    json state = {
        {"mouseLocation", {s.mouseLocation.x, s.mouseLocation.y}},
        {"isMouseClicked", s.isMouseClicked},
        {"activeKeys", s.activeKeys},
        {"focusedRect", s.focusedRect ? json{s.focusedRect->origin.x, s.focusedRect->origin.y,
                                             s.focusedRect->size.width, s.focusedRect->size.height}
                                      : json(nullptr)},
        {"lastInputMode", s.lastInputMode == InputMode::mouse ? "mouse" : "keyboard"},
        {"lastInputTime", s.lastInputTime},
        {"lastKeystrokeTime", s.lastKeystrokeTime},
        {"cursorFollowText", s.cursorFollowText ? json(*s.cursorFollowText) : json(nullptr)},
    };
    json line = {
        {"pts", {{"value", frame.presentationTime.value}, {"timescale", frame.presentationTime.timescale}}},
        {"wall", frame.wallSeconds},
        {"state", state}};
    return line.dump();
}

} // namespace vantrel::tools
