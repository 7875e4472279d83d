#pragma once
// Asks the user for a folder. The real one is a QFileDialog in directory
// mode; tests answer for the user. Main thread only.

#include <QString>
#include <memory>
#include <optional>

namespace vantrel {

class FolderChooser {
public:
    virtual ~FolderChooser() = default;
    /// The chosen folder, or absent when the user cancelled.
    virtual std::optional<QString> chooseFolder(const QString& title, const QString& acceptLabel,
                                                const QString& startFolder) = 0;
    /// The QFileDialog one.
    static std::unique_ptr<FolderChooser> makeFileDialog();
};

} // namespace vantrel
