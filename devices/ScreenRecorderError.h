#pragma once
// The errors of the recording subsystem that concern devices. They live in
// devices/ because the camera, below the recorder, throws one of them; the
// recorder raises the others.

#include <QCoro/QCoroTask>
#include <QString>
#include <exception>
#include <functional>
#include <string>

namespace vantrel {

/// What the shell needs to offer "Continue Without It" for a missing device.
struct DeviceNotFoundContext {
    /// Localized text for the user, two lines.
    QString message;
    /// Turns the missing device's setting off.
    std::function<QCoro::Task<>()> continueWithoutDevice;
};

class ScreenRecorderError final : public std::exception {
public:
    enum class Case { deviceNotFound, microphoneNotFound, cameraNotFound };

    static ScreenRecorderError deviceNotFound(DeviceNotFoundContext context);
    static ScreenRecorderError microphoneNotFound();
    static ScreenRecorderError cameraNotFound();

    Case errorCase() const { return case_; }
    /// Present for deviceNotFound only.
    const DeviceNotFoundContext* context() const;
    /// The text shown to the user, translated through the string catalog.
    QString localizedDescription() const;
    const char* what() const noexcept override { return what_.c_str(); }

private:
    ScreenRecorderError(Case errorCase, DeviceNotFoundContext context);

    Case case_;
    DeviceNotFoundContext context_;
    std::string what_;
};

} // namespace vantrel
