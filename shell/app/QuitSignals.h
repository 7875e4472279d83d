#pragma once
// SIGTERM and SIGINT as a Qt signal on the main thread, so that a stop
// request finishes the recording's files like Quit does.

#include <QObject>

class QSocketNotifier;

namespace vantrel {

class QuitSignals final : public QObject {
    Q_OBJECT

public:
    /// Installs the handlers; one instance per process.
    QuitSignals();
    ~QuitSignals() override;

signals:
    /// The first SIGTERM or SIGINT. A second one ends the process at once.
    void quitRequested();

private:
    QSocketNotifier* notifier_ = nullptr;
};

} // namespace vantrel
