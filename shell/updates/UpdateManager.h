#pragma once
// "Check for Updates...". For now it says that this build checks for none;
// the feed reader replaces it.

#include <QObject>

namespace vantrel {

class UpdateManager final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates CONSTANT)

public:
    bool canCheckForUpdates() const { return true; }
    Q_INVOKABLE void checkForUpdates();
};

} // namespace vantrel
