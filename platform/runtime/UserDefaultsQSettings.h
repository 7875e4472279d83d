#pragma once
// UserDefaults on an INI file through QSettings.
//
// A file that cannot be read or parsed is set aside beside itself as
// "<name>.corrupt-<yyyyMMdd-HHmmss>" with one printed "⚠️" line, and the
// store starts empty, so the app runs on defaults and nothing the user had
// is destroyed. If it cannot even be set aside, the store answers every read
// with "absent" and keeps nothing for this run.

#include "platform/runtime/UserDefaults.h"

#include <QString>
#include <memory>
#include <mutex>

class QSettings;

namespace vantrel {

class UserDefaultsQSettings final : public UserDefaults {
public:
    explicit UserDefaultsQSettings(QString filePath);
    ~UserDefaultsQSettings() override;

    /// $XDG_CONFIG_HOME/Vantrel/Vantrel.conf (~/.config/Vantrel/Vantrel.conf).
    static QString standardFilePath();

    std::optional<bool> boolForKey(std::string_view key) override;
    std::optional<int64_t> integerForKey(std::string_view key) override;
    std::optional<std::string> stringForKey(std::string_view key) override;
    std::optional<QByteArray> dataForKey(std::string_view key) override;

    void setBool(std::string_view key, bool value) override;
    void setInteger(std::string_view key, int64_t value) override;
    void setString(std::string_view key, std::string_view value) override;
    void setData(std::string_view key, const QByteArray& value) override;
    void removeObjectForKey(std::string_view key) override;

    const QString& filePath() const { return filePath_; }

private:
    void open();
    bool fileIsUnusable() const;
    void setAside();
    QVariant read(std::string_view key);
    void write(std::string_view key, const QVariant& value);
    void reportWriteResult();

    QString filePath_;
    std::mutex mutex_;
    std::unique_ptr<QSettings> settings_;
    bool disabled_ = false;
    bool writeFailureReported_ = false;
};

} // namespace vantrel
