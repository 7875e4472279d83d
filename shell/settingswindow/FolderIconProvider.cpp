#include "shell/settingswindow/FolderIconProvider.h"

#include <QFileIconProvider>
#include <QFileInfo>
#include <QIcon>

namespace vantrel {

namespace {

constexpr int kDefaultSide = 36;

} // namespace

FolderIconProvider::FolderIconProvider() : QQuickImageProvider(QQuickImageProvider::Pixmap) {}

QPixmap FolderIconProvider::requestPixmap(const QString& path, QSize* size, const QSize& requestedSize) {
    const QSize side = requestedSize.isValid() ? requestedSize : QSize(kDefaultSide, kDefaultSide);
    QFileIconProvider files;
    QIcon icon = QIcon::fromTheme(QStringLiteral("folder"));
    if (icon.isNull()) icon = files.icon(QFileInfo(path));
    if (icon.isNull()) icon = files.icon(QAbstractFileIconProvider::Folder);
    const QPixmap pixmap = icon.pixmap(side);
    if (size) *size = pixmap.size();
    return pixmap;
}

} // namespace vantrel
