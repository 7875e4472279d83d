#pragma once
// The first-run window. For now a plain page that finishes the onboarding;
// the full pages replace it.

#include <QPointer>

class QWidget;

namespace vantrel {

class OnboardingWindowManager {
public:
    OnboardingWindowManager();
    ~OnboardingWindowManager();

    /// Opens the onboarding window, or brings the open one forward.
    void show();
    void close();

private:
    QPointer<QWidget> window_;
};

} // namespace vantrel
