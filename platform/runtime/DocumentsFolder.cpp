#include "platform/runtime/DocumentsFolder.h"

#include <QDir>
#include <QStandardPaths>

namespace vantrel {

URL documentDirectoryURL() {
    // Qt reads user-dirs.dirs itself and falls back to $HOME/Documents.
    const QString path = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    QDir().mkpath(path);
    return URL{std::filesystem::path(path.toStdString())};
}

} // namespace vantrel
