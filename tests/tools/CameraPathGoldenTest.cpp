// The camera's path through the built-in demo, against the path saved when
// it was last judged right by eye. Any change to the camera's motion shows
// here; when a change is meant, look at the demo (make run) and save anew:
//   build/bin/vantrel-render --demo --size 1280x720 --camera-path tests/data/demo-camera-path.jsonl
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "render/DemoTrace.h"
#include "render/SettingsFile.h"
#include "engine/VideoProcessor.h"

using namespace vantrel;
using namespace vantrel::tools;

TEST(CameraPathGoldenTest, TheDemoFollowsTheSavedPath) {
    std::ifstream golden(std::string(VANTREL_TEST_DATA_DIR) + "/demo-camera-path.jsonl");
    ASSERT_TRUE(golden) << "missing tests/data/demo-camera-path.jsonl";

    const auto frames = makeDemoTrace(1280, 720);
    auto clock = std::make_shared<ManualWallClock>();
    VideoProcessor processor({1280, 720}, clock);
    auto screen = CVPixelBuffer::create(1280, 720);
    std::memset(screen->baseAddress(), 0x80, screen->bytesPerRow() * 720);

    std::string line;
    size_t index = 0;
    for (; std::getline(golden, line); ++index) {
        ASSERT_LT(index, frames.size()) << "the saved path is longer than the demo";
        const auto saved = nlohmann::json::parse(line);
        clock->set(frames[index].wallSeconds);
        ASSERT_TRUE(processor.process(CMSampleBuffer::makeVideo(screen, frames[index].presentationTime),
                                      frames[index].state, {}, std::nullopt));
        const CGRect crop = processor.lastCropRect();
        const double values[] = {crop.origin.x, crop.origin.y, crop.size.width, crop.size.height};
        for (int k = 0; k < 4; ++k)
            ASSERT_NEAR(values[k], saved["crop"][k].get<double>(), 1e-3) << "frame " << index << ", crop " << k;
        ASSERT_NEAR(processor.lastEffectiveZoom(), saved["zoom"].get<double>(), 1e-5) << "frame " << index;
    }
    EXPECT_EQ(index, frames.size());
}

TEST(SettingsFileTest, SwitchesAreLaidOverTheDefaultsAndMistakesNamed) {
    const auto settings = readSettingsJson(R"({"showMouseClicks": true})", "s.json", {});
    EXPECT_TRUE(settings.showMouseClicks);
    EXPECT_TRUE(settings.enableAutoZoom); // untouched default
    try {
        readSettingsJson(R"({"showMouseClick": true})", "s.json", {});
        ADD_FAILURE() << "a misspelt setting was taken";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "s.json: unknown setting \"showMouseClick\"");
    }
}
