#include "shell/settingswindow/FolderChooser.h"

#include <QFileDialog>

namespace vantrel {

namespace {

class FolderChooserFileDialog final : public FolderChooser {
public:
    std::optional<QString> chooseFolder(const QString& title, const QString& acceptLabel,
                                        const QString& startFolder) override {
        QFileDialog dialog(nullptr, title, startFolder);
        dialog.setFileMode(QFileDialog::Directory);
        dialog.setOption(QFileDialog::ShowDirsOnly, true);
        dialog.setLabelText(QFileDialog::Accept, acceptLabel);
        if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
        return dialog.selectedFiles().front();
    }
};

} // namespace

std::unique_ptr<FolderChooser> FolderChooser::makeFileDialog() {
    return std::make_unique<FolderChooserFileDialog>();
}

} // namespace vantrel
