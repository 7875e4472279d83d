#pragma once
// Modal questions to the user (NSAlert). The state machine only builds the
// request and reads which button was clicked; how the question is shown is
// the presenter's business, so tests answer with a fake.

#include <QCoro/QCoroTask>
#include <QString>
#include <QStringList>
#include <memory>

namespace vantrel {

struct AlertRequest {
    QString messageText;
    QString informativeText;
    /// In the order they were added; the first is the default.
    QStringList buttons;
};

/// The answer of runModal for the first button; the n-th button answers
/// kAlertFirstButtonReturn + n. Closing the alert otherwise answers 0.
constexpr int kAlertFirstButtonReturn = 1000;

class AlertPresenter {
public:
    virtual ~AlertPresenter() = default;
    /// Shows the alert above every other window of ours, waits (the main
    /// loop keeps running) and answers the button the user clicked.
    virtual QCoro::Task<int> runModal(AlertRequest request) = 0;

    /// The app's presenter; message boxes unless replaced.
    static std::shared_ptr<AlertPresenter> shared();
    static void setShared(std::shared_ptr<AlertPresenter> presenter);
};

/// QMessageBox. The answer comes from the button object that was clicked,
/// never from its place, because desktops order dialog buttons differently.
class AlertPresenterMessageBox final : public AlertPresenter {
public:
    QCoro::Task<int> runModal(AlertRequest request) override;
};

} // namespace vantrel
