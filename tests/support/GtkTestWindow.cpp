#include "GtkTestWindow.h"

#include "TestServices.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace vantrel::test {

namespace {
constexpr int kStartTimeoutMs = 15000;
}

GtkTestWindow::GtkTestWindow(const QStringList& options) {
    qtApp();
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.start(QStringLiteral("/usr/bin/python3"), QStringList{QStringLiteral(VANTREL_GTK_TEST_WINDOW)} + options);
    if (!process_.waitForStarted(kStartTimeoutMs)) return;
    if (!waitUntil([&] { return process_.canReadLine() || process_.state() != QProcess::Running; },
                   std::chrono::milliseconds(kStartTimeoutMs)))
        return;
    const QJsonObject widgets = QJsonDocument::fromJson(process_.readLine()).object();
    for (auto it = widgets.begin(); it != widgets.end(); ++it) {
        const QJsonArray r = it.value().toArray();
        rects_[it.key().toStdString()] =
            CGRect(r[0].toDouble(), r[1].toDouble(), r[2].toDouble(), r[3].toDouble());
    }
}

GtkTestWindow::~GtkTestWindow() {
    if (process_.state() == QProcess::NotRunning) return;
    process_.write("quit\n");
    process_.closeWriteChannel();
    if (!process_.waitForFinished(3000)) {
        process_.kill();
        process_.waitForFinished(3000);
    }
}

CGRect GtkTestWindow::rect(const std::string& widget) const {
    auto found = rects_.find(widget);
    return found == rects_.end() ? CGRect() : found->second;
}

CGPoint GtkTestWindow::center(const std::string& widget) const {
    const CGRect r = rect(widget);
    return {r.midX(), r.midY()};
}

void GtkTestWindow::focus(const std::string& widget) {
    process_.write(("focus " + widget + "\n").c_str());
    process_.waitForBytesWritten(3000);
}

} // namespace vantrel::test
