#include "shell/dashboard/DeviceMenu.h"

#include <QCoreApplication>
#include <QVariantMap>

namespace vantrel {

namespace {
QString systemDefault() {
    return QCoreApplication::translate("DeviceMenu", "System Default");
}
} // namespace

QString deviceMenuLabel(const QString& selectedID, const std::vector<AVCaptureDevice>& devices) {
    if (selectedID.isEmpty()) return systemDefault();
    for (const AVCaptureDevice& device : devices)
        if (QString::fromStdString(device.uniqueID) == selectedID)
            return QString::fromStdString(device.localizedName);
    return QCoreApplication::translate("DeviceMenu", "Unknown Device");
}

QVariantList deviceMenuEntries(const std::vector<AVCaptureDevice>& devices) {
    QVariantList entries{QVariantMap{{"name", systemDefault()}, {"id", QString()}}};
    for (const AVCaptureDevice& device : devices)
        entries.append(QVariantMap{{"name", QString::fromStdString(device.localizedName)},
                                   {"id", QString::fromStdString(device.uniqueID)}});
    return entries;
}

} // namespace vantrel
