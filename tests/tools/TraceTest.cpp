// Reading input traces, and vantrel-render end to end on a small trace.
#include "render/Trace.h"
#include "tests/support/TestServices.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
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

TEST(RenderToolTest, WritesOneCameraPathLinePerFrameStartingOnThePointer) {
    const test::TempHome scratch;
    const auto dir = scratch.home();
    {
        std::ofstream trace(dir / "trace.jsonl");
        for (int i = 0; i < 3; ++i) {
            TraceFrame frame{CMTime(i * 10, 600), 1800000000.0 + i / 60.0, EventState::initial(1800000000.0)};
            frame.state.mouseLocation = {160, 90};
            trace << traceLine(frame) << "\n";
        }
    }
    ASSERT_TRUE(test::runCommand(std::string(VANTREL_RENDER_TOOL) + " --size 320x180 --trace " +
                                 (dir / "trace.jsonl").string() + " --camera-path " + (dir / "path.jsonl").string() +
                                 " --frames-dir " + (dir / "frames").string()));

    std::ifstream path(dir / "path.jsonl");
    std::string line;
    int lines = 0;
    while (std::getline(path, line)) {
        const auto json = nlohmann::json::parse(line);
        EXPECT_NEAR(json["pts"].get<double>(), lines / 60.0, 1e-6);
        EXPECT_EQ(json["crop"].size(), 4u);
        EXPECT_GE(json["zoom"].get<double>(), 1.0);
        if (lines == 0) {
            // The first frame starts centred on the pointer and begins to zoom in.
            const auto& crop = json["crop"];
            EXPECT_NEAR(crop[0].get<double>() + crop[2].get<double>() / 2, 160, 1e-3);
            EXPECT_NEAR(crop[1].get<double>() + crop[3].get<double>() / 2, 90, 1e-3);
            EXPECT_LT(crop[2].get<double>(), 320);
        }
        ++lines;
    }
    EXPECT_EQ(lines, 3);
    EXPECT_TRUE(std::filesystem::exists(dir / "frames" / "frame_00002.png"));
}
