#pragma once
// One Vantrel per user and display. The first instance listens on a local
// socket; a later launch finds it there, asks it to show its window, and
// ends.

#include <QObject>
#include <QString>

class QLocalServer;

namespace vantrel {

class SingleInstance final : public QObject {
    Q_OBJECT

public:
    /// The socket's name for this user and $DISPLAY.
    static QString serverName();

    /// True when another instance answered and took the request to show itself.
    static bool askRunningInstanceToShow();

    /// Starts listening; a stale socket of a crashed instance is removed first.
    bool listen();

signals:
    /// A later launch asked this instance to show its window.
    void showRequested();

private:
    QLocalServer* server_ = nullptr;
};

} // namespace vantrel
