#include "shell/updates/UpdateAlertsWidgets.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>

namespace vantrel {

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("UpdateManager", text);
}

// Our message boxes are not part of any recording: the recorder paints out
// every window of this process unless the user asked to include them.
void showInformation(const QString& title, const QString& text, const QString& detail = {}) {
    QMessageBox box(QMessageBox::Information, title, text, QMessageBox::Ok);
    if (!detail.isEmpty()) box.setInformativeText(detail);
    box.exec();
}

} // namespace

void UpdateAlertsWidgets::showUpToDate(const QString& currentVersion) {
    showInformation(tr("You're up to date"),
                    tr("Vantrel %1 is the newest version available.").arg(currentVersion));
}

bool UpdateAlertsWidgets::offerUpdate(const AppcastItem& newest, const QString& currentVersion) {
    QMessageBox box(QMessageBox::Information, tr("A New Version of Vantrel Is Available"),
                    tr("Vantrel %1 is available. You have %2.").arg(newest.version, currentVersion));
    if (!newest.notes.isEmpty()) box.setInformativeText(newest.notes);
    QPushButton* download = box.addButton(tr("Download"), QMessageBox::AcceptRole);
    box.addButton(tr("Later"), QMessageBox::RejectRole);
    box.setDefaultButton(download);
    box.exec();
    // Which button, not which role: desktops order the buttons differently.
    return box.clickedButton() == download;
}

void UpdateAlertsWidgets::showFailure(const QString& title, const QString& detail) {
    QMessageBox box(QMessageBox::Warning, title, title, QMessageBox::Ok);
    box.setInformativeText(detail);
    box.exec();
}

void UpdateAlertsWidgets::showNotConfigured() {
    showInformation(tr("Updates Are Not Configured"),
                    tr("This copy of Vantrel was built without an update feed."),
                    tr("Set updateFeedURL in ~/.config/Vantrel/Vantrel.conf to the address of a feed to "
                       "check for new versions."));
}

} // namespace vantrel
