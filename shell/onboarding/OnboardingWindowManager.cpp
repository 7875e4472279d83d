#include "shell/onboarding/OnboardingWindowManager.h"

#include "settings/AppSettings.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

namespace vantrel {

OnboardingWindowManager::OnboardingWindowManager() = default;
OnboardingWindowManager::~OnboardingWindowManager() {
    close();
}

void OnboardingWindowManager::show() {
    if (window_) {
        window_->raise();
        window_->activateWindow();
        return;
    }
    auto* window = new QWidget;
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle(QObject::tr("Welcome to Vantrel"));
    window->setFixedSize(600, 400);
    auto* layout = new QVBoxLayout(window);
    auto* text = new QLabel(QObject::tr("Welcome to Vantrel"));
    text->setStyleSheet(QStringLiteral("font-size:20px; font-weight:bold;"));
    layout->addWidget(text, 0, Qt::AlignHCenter);
    layout->addStretch();
    auto* done = new QPushButton(QObject::tr("Get Started"));
    done->setAccessibleName(done->text());
    QObject::connect(done, &QPushButton::clicked, window, [window] {
        AppSettings::shared()->setHasCompletedOnboarding(true);
        window->close();
    });
    layout->addWidget(done);
    window_ = window;
    window->show();
}

void OnboardingWindowManager::close() {
    if (window_) window_->close();
    window_ = nullptr;
}

} // namespace vantrel
