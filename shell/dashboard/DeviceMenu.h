#pragma once
// The camera and microphone menus of the dashboard and the settings window:
// "System Default" first (the empty identifier), then every device by name.

#include "platform/camera/CaptureDevice.h"

#include <QString>
#include <QVariantList>
#include <vector>

namespace vantrel {

/// The menu's label: "System Default" for the empty identifier, the name of
/// the device with this identifier, or "Unknown Device" when none has it.
QString deviceMenuLabel(const QString& selectedID, const std::vector<AVCaptureDevice>& devices);

/// The entries as {"name", "id"} maps, "System Default" first.
QVariantList deviceMenuEntries(const std::vector<AVCaptureDevice>& devices);

} // namespace vantrel
