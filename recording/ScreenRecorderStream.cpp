// Setting up the capture stream of one recording, with its frame engine and writers.

#include "ScreenRecorder.h"

#include "platform/permissions/PrivacyAccess.h"
#include "platform/runtime/BackgroundTask.h"

#include <algorithm>
#include <unistd.h>

namespace vantrel {

namespace {

SCStreamConfiguration streamConfiguration(const SCDisplay& display, const AppSettingsSnapshot& settings) {
    SCStreamConfiguration configuration;
    configuration.width = display.width;
    configuration.height = display.height;
    configuration.showsCursor = true;
    configuration.minimumFrameInterval = CMTimeMake(1, 60);
    configuration.pixelFormat = kCVPixelFormatType_32BGRA;
    configuration.colorSpaceName = kCGColorSpaceSRGB; // what X11 gives, tagged as such
    configuration.capturesAudio = settings.enableSystemAudio;
    if (settings.enableSystemAudio) {
        configuration.excludesCurrentProcessAudio = true;
        configuration.sampleRate = 48000;
        configuration.channelCount = 2;
    }
    return configuration;
}

} // namespace

QCoro::Task<std::pair<std::shared_ptr<SCStream>, std::shared_ptr<RecordingPipeline>>>
ScreenRecorder::startStreamAndPipeline(AppSettingsSnapshot settings) {
    using Result = std::pair<std::shared_ptr<SCStream>, std::shared_ptr<RecordingPipeline>>;
    // Every step that waits on a server or an encoder runs off the main
    // thread, so that the countdown in front of it never stutters. The
    // recorder is held here while the work runs; the work holds `this`
    // alone, so that the recorder is never destroyed on a pool thread.
    const auto keepAlive = shared_from_this();
    auto checking = runInBackground([settings] {
        if (!CGPreflightScreenCaptureAccess()) return false;
        // Auto zoom alone needs no accessibility; the overlays that read input do.
        const bool needsAccessibility =
            settings.showKeystrokes || settings.showMouseClicks || settings.enableCursorFollowText;
        return !needsAccessibility || AXIsProcessTrusted();
    });
    if (!co_await std::move(checking)) co_return Result{};

    const auto content = co_await SCShareableContent::getShareableContent(false, true);
    // A stored display that was unplugged is replaced silently by the first one.
    auto chosen = std::find_if(content.displays.begin(), content.displays.end(),
                               [&](const SCDisplay& d) { return d.displayID == settings.selectedDisplayID; });
    if (chosen == content.displays.end()) chosen = content.displays.begin();
    if (chosen == content.displays.end()) co_return Result{};
    const SCDisplay display = *chosen;

    // The program's own windows are never in the picture unless the user
    // asked for them, and that counts for the windows it opens while
    // recording (tooltips, menus, alerts) too, so the process is left out
    // even before it has a window.
    std::vector<SCRunningApplication> ownApplications;
    if (!settings.includeAppInCapture) {
        std::copy_if(content.applications.begin(), content.applications.end(),
                     std::back_inserter(ownApplications),
                     [pid = getpid()](const SCRunningApplication& app) { return app.processID == pid; });
        if (ownApplications.empty()) ownApplications.push_back({getpid(), {}, {}});
    }
    SCContentFilter filter(display, std::move(ownApplications), {});
    const auto configuration = streamConfiguration(display, settings);

    // Opening the encoders is the slowest step of all.
    auto building = runInBackground([this, display, settings] {
        auto videoProcessor =
            std::make_shared<VideoProcessor>(CGSize{double(display.width), double(display.height)});
        return makePipeline(display.width, display.height, settings, std::move(videoProcessor));
    });
    auto pipeline = co_await std::move(building);
    if (!pipeline) co_return Result{};

    auto stream = std::make_shared<SCStream>(filter, configuration, weak_from_this());
    const auto self = std::static_pointer_cast<SCStreamOutput>(shared_from_this());
    try {
        NSError error;
        if (!stream->addStreamOutput(self, SCStreamOutputType::screen, outputQueue.get(), &error))
            throw SCStreamException(error);
        if (settings.enableSystemAudio &&
            !stream->addStreamOutput(self, SCStreamOutputType::audio, outputQueue.get(), &error))
            throw SCStreamException(error);
        co_await stream->startCapture();
    } catch (...) {
        // Nothing owns these writers once the error leaves here: a recording
        // that never started leaves no file and no open folder access.
        discardPipeline(pipeline);
        throw;
    }
    co_return Result{stream, pipeline};
}

} // namespace vantrel
