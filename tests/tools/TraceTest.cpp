// Reading input traces: every field, and bad lines named by file and line.
#include "render/Trace.h"

#include <gtest/gtest.h>
#include <sstream>

using namespace vantrel;
using namespace vantrel::tools;

namespace {

const char* kGoodLine =
    R"({"pts": {"value": 10, "timescale": 600}, "wall": 1800000000.5, "state": {"mouseLocation": [12.5, 30],)"
    R"( "isMouseClicked": true, "activeKeys": "⇧ + ⌘ + K", "focusedRect": [1, 2, 3, 4],)"
    R"( "lastInputMode": "keyboard", "lastInputTime": 1800000000.25, "lastKeystrokeTime": 1800000000.25,)"
    R"( "cursorFollowText": "Save"}})";

std::string errorOf(const std::string& text) {
    std::istringstream input(text);
    try {
        readTrace(input, "t.jsonl");
    } catch (const TraceError& error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(TraceTest, ReadsEveryFieldOfAFrameAndNamesBadLines) {
    std::istringstream input(std::string(kGoodLine) + "\n\n" + kGoodLine + "\n");
    const auto frames = readTrace(input, "t.jsonl");
    ASSERT_EQ(frames.size(), 2u); // the blank line is skipped
    const TraceFrame& f = frames[0];
    EXPECT_EQ(f.presentationTime, CMTime(10, 600));
    EXPECT_DOUBLE_EQ(f.wallSeconds, 1800000000.5);
    EXPECT_EQ(f.state.mouseLocation, (CGPoint{12.5, 30}));
    EXPECT_TRUE(f.state.isMouseClicked);
    EXPECT_EQ(f.state.activeKeys, "⇧ + ⌘ + K");
    EXPECT_EQ(f.state.focusedRect, CGRect(1, 2, 3, 4));
    EXPECT_EQ(f.state.lastInputMode, InputMode::keyboard);
    EXPECT_DOUBLE_EQ(f.state.lastKeystrokeTime, 1800000000.25);
    EXPECT_EQ(f.state.cursorFollowText, "Save");

    // What traceLine writes reads back the same.
    std::istringstream again(traceLine(f));
    const auto back = readTrace(again, "again");
    EXPECT_EQ(back[0].state.focusedRect, f.state.focusedRect);
    EXPECT_EQ(back[0].state.activeKeys, f.state.activeKeys);
    EXPECT_EQ(back[0].presentationTime, f.presentationTime);

    // Bad lines are named by file and line.
    std::string noWall = kGoodLine;
    noWall.replace(noWall.find("\"wall\""), 6, "\"wal\"");
    EXPECT_NE(errorOf(std::string(kGoodLine) + "\n" + noWall).find("t.jsonl:2: missing field \"wall\""),
              std::string::npos);
    EXPECT_NE(errorOf("{not json\n").find("t.jsonl:1: not JSON"), std::string::npos);
    EXPECT_THROW(readTraceFile("/nonexistent/trace.jsonl"), TraceError);
}
