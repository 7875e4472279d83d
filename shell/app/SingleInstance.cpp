#include "shell/app/SingleInstance.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <unistd.h>

namespace vantrel {

namespace {

constexpr int kConnectTimeoutMs = 1000;
const QByteArray kShowRequest = "show\n";

} // namespace

QString SingleInstance::serverName() {
    QString display = qEnvironmentVariable("DISPLAY", QStringLiteral("none"));
    display.replace(QLatin1Char('/'), QLatin1Char('_'));
    return QStringLiteral("vantrel-%1-%2").arg(getuid()).arg(display);
}

bool SingleInstance::askRunningInstanceToShow() {
    QLocalSocket socket;
    socket.connectToServer(serverName());
    if (!socket.waitForConnected(kConnectTimeoutMs)) return false;
    socket.write(kShowRequest);
    if (!socket.waitForBytesWritten(kConnectTimeoutMs)) return false;
    // The first instance closes the connection once it has read the request.
    socket.waitForDisconnected(kConnectTimeoutMs);
    return true;
}

bool SingleInstance::listen() {
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(serverName())) {
        QLocalServer::removeServer(serverName());
        if (!server_->listen(serverName())) return false;
    }
    connect(server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = server_->nextPendingConnection()) {
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                if (!socket->canReadLine()) return;
                if (socket->readLine() == kShowRequest) emit showRequested();
                socket->disconnectFromServer();
            });
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
    return true;
}

} // namespace vantrel
