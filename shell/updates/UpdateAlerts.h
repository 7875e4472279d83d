#pragma once
// What the update check says to the user. The real one shows message boxes;
// tests put a recorder of calls in its place. Main thread only.

#include "shell/updates/AppcastFeed.h"

#include <QString>

namespace vantrel {

class UpdateAlerts {
public:
    virtual ~UpdateAlerts() = default;
    virtual void showUpToDate(const QString& currentVersion) = 0;
    /// True when the user chose Download.
    virtual bool offerUpdate(const AppcastItem& newest, const QString& currentVersion) = 0;
    /// `title` says what went wrong, `detail` gives the cause in a line.
    virtual void showFailure(const QString& title, const QString& detail) = 0;
    virtual void showNotConfigured() = 0;
};

} // namespace vantrel
