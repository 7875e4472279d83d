#include "platform/audio/AudioCaptureSession.h"
#include "platform/capture/ScreenCaptureServiceLinux.h"

namespace vantrel {

std::unique_ptr<AudioSampleSource>
ScreenCaptureServiceLinux::makeSystemAudioSource(const SCStreamConfiguration& configuration, NSError&) {
    // excludesCurrentProcessAudio has no PulseAudio equivalent for a sink
    // monitor: it carries the mix, whoever played it. Vantrel plays no sound
    // while it records, so nothing of its own can reach the track.
    // No source name: the monitor of the default sink, whichever that is
    // from moment to moment (headphones switched on, a headset unplugged).
    return makePulseRecordSource({}, configuration.sampleRate, configuration.channelCount);
}

} // namespace vantrel
