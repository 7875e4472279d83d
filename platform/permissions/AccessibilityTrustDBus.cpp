#include "platform/permissions/PrivacyAccess.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QUuid>

namespace vantrel {

namespace {

const QString kBusService = "org.a11y.Bus";
const QString kBusPath = "/org/a11y/bus";
const QString kStatusInterface = "org.a11y.Status";
const QString kProperties = "org.freedesktop.DBus.Properties";

QDBusConnection connected(const QString& address, const QString& name) {
    QDBusConnection bus = QDBusConnection::connectToBus(address, name);
    if (bus.isConnected()) return bus;
    // A named connection that dropped stays dropped: make a new one.
    QDBusConnection::disconnectFromBus(name);
    return QDBusConnection::connectToBus(address, name);
}

} // namespace

AccessibilityTrustDBus::AccessibilityTrustDBus(QString sessionBusAddress)
    : sessionBusAddress_(sessionBusAddress.isEmpty() ? qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS")
                                                     : std::move(sessionBusAddress)),
      connectionName_("vantrel-a11y-" + QUuid::createUuid().toString(QUuid::WithoutBraces)) {}

AccessibilityTrustDBus::~AccessibilityTrustDBus() {
    QDBusConnection::disconnectFromBus(connectionName_);
    QDBusConnection::disconnectFromBus(connectionName_ + "-a11y");
}

bool AccessibilityTrustDBus::isTrusted() {
    if (sessionBusAddress_.isEmpty()) return false;
    QDBusConnection session = connected(sessionBusAddress_, connectionName_);
    if (!session.isConnected()) return false;

    QDBusMessage get = QDBusMessage::createMethodCall(kBusService, kBusPath, kProperties, "Get");
    get << kStatusInterface << QString("IsEnabled");
    const QDBusMessage enabled = session.call(get, QDBus::Block, kCallTimeoutMs);
    if (enabled.type() != QDBusMessage::ReplyMessage || enabled.arguments().isEmpty()) return false;
    if (!enabled.arguments().first().value<QDBusVariant>().variant().toBool()) return false;

    // Enabled is not enough: the accessibility bus itself has to answer.
    const QDBusMessage address =
        session.call(QDBusMessage::createMethodCall(kBusService, kBusPath, kBusService, "GetAddress"),
                     QDBus::Block, kCallTimeoutMs);
    if (address.type() != QDBusMessage::ReplyMessage || address.arguments().isEmpty()) return false;
    const QString a11yAddress = address.arguments().first().toString();
    if (a11yAddress.isEmpty()) return false;
    return connected(a11yAddress, connectionName_ + "-a11y").isConnected();
}

void AccessibilityTrustDBus::enable() {
    if (sessionBusAddress_.isEmpty()) return;
    QDBusConnection session = connected(sessionBusAddress_, connectionName_);
    QDBusMessage set = QDBusMessage::createMethodCall(kBusService, kBusPath, kProperties, "Set");
    set << kStatusInterface << QString("IsEnabled") << QVariant::fromValue(QDBusVariant(true));
    session.call(set, QDBus::Block, kCallTimeoutMs);
}

} // namespace vantrel
