#pragma once
// The update check's message boxes (Qt Widgets). Needs a QApplication.

#include "shell/updates/UpdateAlerts.h"

namespace vantrel {

class UpdateAlertsWidgets final : public UpdateAlerts {
public:
    void showUpToDate(const QString& currentVersion) override;
    bool offerUpdate(const AppcastItem& newest, const QString& currentVersion) override;
    void showFailure(const QString& title, const QString& detail) override;
    void showNotConfigured() override;
};

} // namespace vantrel
