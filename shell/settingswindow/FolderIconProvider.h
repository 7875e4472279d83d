#pragma once
// "image://foldericon/PATH": the icon the desktop shows for that folder,
// from its icon theme ("folder"), else the style's folder icon.

#include <QQuickImageProvider>

namespace vantrel {

class FolderIconProvider final : public QQuickImageProvider {
public:
    static constexpr const char* kName = "foldericon";

    FolderIconProvider();
    QPixmap requestPixmap(const QString& path, QSize* size, const QSize& requestedSize) override;
};

} // namespace vantrel
