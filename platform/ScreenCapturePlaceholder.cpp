// Stand-ins for the parts of the Linux capture service that live elsewhere,
// so that the system audio can be built and tested on its own. They fail
// plainly rather than pretend to capture.
#include "ScreenCaptureServiceLinux.h"

namespace vantrel {

std::vector<SCRunningApplication> ScreenCaptureServiceLinux::applications() {
    return {};
}

std::unique_ptr<ScreenFrameSource> ScreenCaptureServiceLinux::makeFrameSource(const SCContentFilter&,
                                                                              const SCStreamConfiguration&,
                                                                              NSError& error) {
    error.localizedDescription = "Screen capture is not built in";
    return nullptr;
}

} // namespace vantrel
