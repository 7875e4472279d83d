#include "ScreenRecorderError.h"

#include <QCoreApplication>

namespace vantrel {

ScreenRecorderError::ScreenRecorderError(Case errorCase, DeviceNotFoundContext context)
    : case_(errorCase), context_(std::move(context)), what_(localizedDescription().toStdString()) {}

ScreenRecorderError ScreenRecorderError::deviceNotFound(DeviceNotFoundContext context) {
    return {Case::deviceNotFound, std::move(context)};
}

ScreenRecorderError ScreenRecorderError::microphoneNotFound() {
    return {Case::microphoneNotFound, {}};
}

ScreenRecorderError ScreenRecorderError::cameraNotFound() {
    return {Case::cameraNotFound, {}};
}

const DeviceNotFoundContext* ScreenRecorderError::context() const {
    return case_ == Case::deviceNotFound ? &context_ : nullptr;
}

QString ScreenRecorderError::localizedDescription() const {
    // The third argument is the comment the translators see.
    switch (case_) {
    case Case::deviceNotFound:
        return context_.message;
    case Case::microphoneNotFound:
        return QCoreApplication::translate(
            "ScreenRecorderError",
            "Microphone not found. Please check your settings or reconnect the device.",
            "Error when the selected microphone is missing");
    case Case::cameraNotFound:
        return QCoreApplication::translate(
            "ScreenRecorderError",
            "Web camera not found. Please check your settings or reconnect the device.",
            "Error when the selected web camera is missing");
    }
    return {};
}

} // namespace vantrel
