#include "ScreenCaptureServiceLinux.h"

namespace vantrel {

// Stands in until the PulseAudio source is in this tree.
std::unique_ptr<AudioSampleSource>
ScreenCaptureServiceLinux::makeSystemAudioSource(const SCStreamConfiguration&, NSError& error) {
    error.localizedDescription = "System audio is not available";
    return nullptr;
}

} // namespace vantrel
