#pragma once
// The service the app captures with: displays, windows and the picture from
// the X server (xcb, MIT-SHM, XFixes, Composite), system audio from the
// PulseAudio server (the monitor of the default sink).

#include "platform/capture/ScreenStream.h"

namespace vantrel {

class ScreenCaptureServiceLinux final : public ScreenCaptureService {
public:
    std::vector<SCRunningApplication> applications() override;
    std::unique_ptr<ScreenFrameSource> makeFrameSource(const SCContentFilter& filter,
                                                       const SCStreamConfiguration& configuration,
                                                       NSError& error) override;
    std::unique_ptr<AudioSampleSource> makeSystemAudioSource(const SCStreamConfiguration& configuration,
                                                             NSError& error) override;
};

} // namespace vantrel
