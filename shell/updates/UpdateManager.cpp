#include "shell/updates/UpdateManager.h"

#include <QMessageBox>

namespace vantrel {

void UpdateManager::checkForUpdates() {
    auto* box = new QMessageBox(QMessageBox::Information, QObject::tr("Check for Updates"),
                                QObject::tr("This build of Vantrel does not check for updates: install new "
                                            "versions through your package manager."));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

} // namespace vantrel
