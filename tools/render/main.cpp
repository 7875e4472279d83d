// vantrel-render: replays an input trace through the frame engine and writes
// the camera path, and optionally the frames, for looking at by eye.
#include "ContactSheet.h"
#include "DemoTrace.h"
#include "PointerSprite.h"
#include "RenderOptions.h"
#include "SettingsFile.h"
#include "SyntheticDesktop.h"
#include "TileDemos.h"
#include "Trace.h"
#include "VideoFile.h"
#include "engine/VideoProcessor.h"
#include "platform/image/PngFile.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

using namespace vantrel;
using namespace vantrel::tools;

int main(int argc, char** argv) {
    RenderOptions options;
    try {
        options = parseRenderOptions(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "vantrel-render: " << error.what() << "\n" << renderUsage;
        return 2;
    }
    try {
        const TileDemo* tileDemo = nullptr;
        if (!options.tileDemo.empty() && !(tileDemo = findTileDemo(options.tileDemo)))
            throw std::runtime_error("no tile demo named " + options.tileDemo);
        const auto frames = tileDemo       ? tileDemoFrames(*tileDemo, options.width, options.height)
                            : options.demo ? makeDemoTrace(options.width, options.height)
                                           : readTraceFile(options.tracePath);
        const CVPixelBufferRef source = options.sourcePath.empty()
                                            ? makeSyntheticDesktop(options.width, options.height)
                                            : readPngFile(options.sourcePath);
        if (!source) throw std::runtime_error(options.sourcePath.string() + ": not a readable PNG picture");
        AppSettingsSnapshot settings =
            options.settingsPath.empty() ? AppSettingsSnapshot{} : readSettingsFile(options.settingsPath, {});
        if (tileDemo) settings = tileDemo->settings;
        if (options.noAutoZoom) settings.enableAutoZoom = false;
        std::optional<CIImage> webcam;
        if (tileDemo && tileDemo->webcam) {
            webcam = CIImage::fromPixelBuffer(makeSyntheticWebcam(1280, 720));
            settings.showWebcam = true;
        } else if (!options.webcamPath.empty()) {
            // "synthetic" stands for a made-up picture, for demos.
            const auto picture = options.webcamPath == "synthetic" ? makeSyntheticWebcam(1280, 720)
                                                                   : readPngFile(options.webcamPath);
            if (!picture)
                throw std::runtime_error(options.webcamPath.string() + ": not a readable PNG picture");
            webcam = CIImage::fromPixelBuffer(picture);
            settings.showWebcam = true;
        }

        for (const auto& output : {options.cameraPathPath, options.contactSheetPath})
            if (output.has_parent_path()) std::filesystem::create_directories(output.parent_path());
        std::ofstream cameraPath;
        if (!options.cameraPathPath.empty()) {
            cameraPath.open(options.cameraPathPath);
            if (!cameraPath)
                throw std::runtime_error(options.cameraPathPath.string() + ": cannot be written");
        }
        if (!options.framesDir.empty()) std::filesystem::create_directories(options.framesDir);

        const int outputWidth = options.outputWidth ? options.outputWidth : options.width;
        const int outputHeight = options.outputHeight ? options.outputHeight : options.height;
        std::unique_ptr<VideoFile> video;
        if (!options.videoPath.empty()) {
            if (options.videoPath.has_parent_path())
                std::filesystem::create_directories(options.videoPath.parent_path());
            const double seconds =
                frames.size() > 1 ? (frames[1].presentationTime - frames[0].presentationTime).seconds() : 0;
            video =
                std::make_unique<VideoFile>(options.videoPath, outputWidth, outputHeight,
                                            seconds > 0 ? static_cast<int>(std::lround(1 / seconds)) : 60);
        }
        auto clock = std::make_shared<ManualWallClock>();
        VideoProcessor processor(
            CGSize{static_cast<CGFloat>(outputWidth), static_cast<CGFloat>(outputHeight)}, clock);
        PointerSprite pointer;
        std::vector<CVPixelBufferRef> sheetFrames;
        for (size_t i = 0; i < frames.size(); ++i) {
            const TraceFrame& frame = frames[i];
            clock->set(frame.wallSeconds);
            const auto screen = pointer.drawOver(source, frame.state.mouseLocation);
            const auto output = processor.process(CMSampleBuffer::makeVideo(screen, frame.presentationTime),
                                                  frame.state, settings, webcam);
            if (!output) continue;
            if (video) video->append(output, frame.presentationTime);
            if (cameraPath) {
                const CGRect crop = processor.lastCropRect();
                char line[256];
                std::snprintf(line, sizeof line,
                              "{\"pts\": %.6f, \"crop\": [%.4f, %.4f, %.4f, %.4f], \"zoom\": %.6f}\n",
                              frame.presentationTime.seconds(), crop.origin.x, crop.origin.y, crop.size.width,
                              crop.size.height, processor.lastEffectiveZoom());
                cameraPath << line;
            }
            if (!options.framesDir.empty()) {
                char name[64];
                std::snprintf(name, sizeof name, "frame_%05zu.png", i);
                if (!writePngFile(*output, options.framesDir / name))
                    throw std::runtime_error((options.framesDir / name).string() + ": cannot be written");
            }
            if (!options.contactSheetPath.empty() && i % options.contactSheetEvery == 0)
                sheetFrames.push_back(output);
        }
        if (video) video->finish();
        if (!options.contactSheetPath.empty()) {
            const auto sheet = makeContactSheet(sheetFrames, 6, 320);
            if (!sheet || !writePngFile(*sheet, options.contactSheetPath))
                throw std::runtime_error(options.contactSheetPath.string() + ": cannot be written");
        }
        std::cout << "rendered " << frames.size() << " frames at " << options.width << "x" << options.height
                  << "\n";
    } catch (const std::exception& error) {
        std::cerr << "vantrel-render: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
