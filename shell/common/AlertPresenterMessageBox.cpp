#include "shell/common/AlertPresenter.h"

#include <QCoro/QCoroSignal>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <vector>

namespace vantrel {

QCoro::Task<int> AlertPresenterMessageBox::runModal(AlertRequest request) {
    QPointer<QMessageBox> box =
        new QMessageBox(QMessageBox::Warning, request.messageText, request.messageText);
    box->setAttribute(Qt::WA_DeleteOnClose, false);
    box->setInformativeText(request.informativeText);
    box->setText(request.messageText);
    box->setWindowTitle(QStringLiteral("Vantrel"));
    std::vector<QAbstractButton*> buttons;
    for (const QString& title : request.buttons) {
        // One role for all: the desktop would otherwise reorder them by role.
        auto* button = box->addButton(title, QMessageBox::ActionRole);
        button->setAccessibleName(title);
        buttons.push_back(button);
    }
    if (!buttons.empty()) {
        box->setDefaultButton(static_cast<QPushButton*>(buttons.front()));
        // Escape answers as the last button, which is the cancelling one.
        box->setEscapeButton(buttons.back());
    }
    box->setWindowModality(Qt::ApplicationModal);
    box->open();
    // The menu-bar app has no window in front: bring the alert up over the
    // user's application, as activating the app would.
    box->raise();
    box->activateWindow();
    co_await qCoro(box.data(), &QDialog::finished);
    int response = 0;
    if (box) {
        for (size_t index = 0; index < buttons.size(); ++index)
            if (box->clickedButton() == buttons[index])
                response = kAlertFirstButtonReturn + static_cast<int>(index);
        box->deleteLater();
    }
    co_return response;
}

} // namespace vantrel
