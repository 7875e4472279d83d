#include "platform/runtime/UserDefaultsQSettings.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <cstdio>

namespace vantrel {

namespace {

QString qKey(std::string_view key) {
    return QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size()));
}

void printLine(const QString& line) {
    std::printf("%s\n", line.toUtf8().constData());
    std::fflush(stdout);
}

std::mutex& standardMutex() {
    static std::mutex mutex;
    return mutex;
}

std::shared_ptr<UserDefaults>& standardSlot() {
    static std::shared_ptr<UserDefaults> slot;
    return slot;
}

} // namespace

std::shared_ptr<UserDefaults> UserDefaults::standard() {
    std::lock_guard guard(standardMutex());
    auto& slot = standardSlot();
    if (!slot) slot = std::make_shared<UserDefaultsQSettings>(UserDefaultsQSettings::standardFilePath());
    return slot;
}

void UserDefaults::setStandard(std::shared_ptr<UserDefaults> defaults) {
    std::lock_guard guard(standardMutex());
    standardSlot() = std::move(defaults);
}

QString UserDefaultsQSettings::standardFilePath() {
    // GenericConfigLocation follows $XDG_CONFIG_HOME and falls back to ~/.config.
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/Vantrel/Vantrel.conf";
}

UserDefaultsQSettings::UserDefaultsQSettings(QString filePath) : filePath_(std::move(filePath)) {
    std::lock_guard guard(mutex_);
    open();
}

UserDefaultsQSettings::~UserDefaultsQSettings() = default;

void UserDefaultsQSettings::open() {
    QDir().mkpath(QFileInfo(filePath_).absolutePath());
    if (fileIsUnusable()) setAside();
    if (!disabled_) settings_ = std::make_unique<QSettings>(filePath_, QSettings::IniFormat);
}

bool UserDefaultsQSettings::fileIsUnusable() const {
    const QFileInfo info(filePath_);
    if (!info.exists()) return false;
    if (info.isDir()) return true;
    QFile file(filePath_);
    if (!file.open(QIODevice::ReadOnly)) return true;
    // QSettings' INI reader skips much, but reports lines it cannot make sense of.
    QSettings probe(filePath_, QSettings::IniFormat);
    return probe.status() != QSettings::NoError;
}

void UserDefaultsQSettings::setAside() {
    settings_.reset();
    const QString stamp = QDateTime::currentDateTime().toString("yyyyMMdd-HHmmss");
    QString target = filePath_ + ".corrupt-" + stamp;
    for (int n = 2; QFileInfo::exists(target); ++n)
        target = filePath_ + ".corrupt-" + stamp + "-" + QString::number(n);
    if (QFile::rename(filePath_, target) || QDir().rename(filePath_, target)) {
        printLine(
            QString(
                "⚠️ Settings file %1 could not be read; it was set aside as %2 and defaults are used.")
                .arg(filePath_, target));
        return;
    }
    disabled_ = true;
    printLine(
        QString("⚠️ Settings file %1 could not be read or set aside; defaults are used and changes are "
                "not saved until it is removed.")
            .arg(filePath_));
}

QVariant UserDefaultsQSettings::read(std::string_view key) {
    std::lock_guard guard(mutex_);
    if (disabled_) return {};
    // sync() picks up what another process wrote; it costs a stat when nothing changed.
    settings_->sync();
    if (settings_->status() == QSettings::FormatError) {
        setAside();
        if (!disabled_) settings_ = std::make_unique<QSettings>(filePath_, QSettings::IniFormat);
        return {};
    }
    return settings_->value(qKey(key));
}

void UserDefaultsQSettings::write(std::string_view key, const QVariant& value) {
    std::lock_guard guard(mutex_);
    if (disabled_) return;
    if (value.isValid())
        settings_->setValue(qKey(key), value);
    else
        settings_->remove(qKey(key));
    settings_->sync();
    reportWriteResult();
}

void UserDefaultsQSettings::reportWriteResult() {
    if (settings_->status() == QSettings::NoError) {
        writeFailureReported_ = false;
        return;
    }
    if (writeFailureReported_) return;
    writeFailureReported_ = true;
    printLine(QString("⚠️ Settings could not be saved to %1: the file or its folder is not writable.")
                  .arg(filePath_));
}

std::optional<bool> UserDefaultsQSettings::boolForKey(std::string_view key) {
    const QVariant value = read(key);
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
        return value.toLongLong() != 0;
    case QMetaType::QString: {
        const QString text = value.toString().trimmed().toLower();
        if (text == "true" || text == "1") return true;
        if (text == "false" || text == "0") return false;
        return std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

std::optional<int64_t> UserDefaultsQSettings::integerForKey(std::string_view key) {
    const QVariant value = read(key);
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return value.toLongLong();
    case QMetaType::QString: {
        // Base 0 also takes the 0x form a person may type for modifier bits.
        bool ok = false;
        const qlonglong number = value.toString().trimmed().toLongLong(&ok, 0);
        return ok ? std::optional<int64_t>(number) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

std::optional<std::string> UserDefaultsQSettings::stringForKey(std::string_view key) {
    const QVariant value = read(key);
    switch (value.typeId()) {
    case QMetaType::QString:
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
        return value.toString().toStdString();
    default:
        return std::nullopt;
    }
}

std::optional<QByteArray> UserDefaultsQSettings::dataForKey(std::string_view key) {
    const QVariant value = read(key);
    if (value.typeId() != QMetaType::QByteArray) return std::nullopt;
    return value.toByteArray();
}

void UserDefaultsQSettings::setBool(std::string_view key, bool value) {
    write(key, value);
}

void UserDefaultsQSettings::setInteger(std::string_view key, int64_t value) {
    write(key, static_cast<qlonglong>(value));
}

void UserDefaultsQSettings::setString(std::string_view key, std::string_view value) {
    write(key, QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size())));
}

void UserDefaultsQSettings::setData(std::string_view key, const QByteArray& value) {
    write(key, value);
}

void UserDefaultsQSettings::removeObjectForKey(std::string_view key) {
    write(key, QVariant());
}

} // namespace vantrel
