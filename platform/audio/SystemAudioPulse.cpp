#include "platform/audio/AudioCaptureSession.h"
#include "platform/capture/ScreenCaptureServiceLinux.h"

namespace vantrel {

std::unique_ptr<AudioSampleSource>
ScreenCaptureServiceLinux::makeSystemAudioSource(const SCStreamConfiguration& configuration, NSError& error) {
    // excludesCurrentProcessAudio has no PulseAudio equivalent for a sink
    // monitor: it carries the mix, whoever played it. Vantrel plays no sound
    // while it records, so nothing of its own can reach the track.
    const std::string monitor = pulseDefaultSinkMonitor(error);
    if (monitor.empty()) return nullptr;
    return makePulseRecordSource(monitor, configuration.sampleRate, configuration.channelCount);
}

} // namespace vantrel
