#pragma once
// The user's keyed settings (NSUserDefaults). A read asks the store each time
// and answers "absent" when the key is missing or holds another kind of value;
// a write reaches the backing file at once. Safe to call from any thread.

#include <QByteArray>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vantrel {

class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    virtual std::optional<bool> boolForKey(std::string_view key) = 0;
    virtual std::optional<int64_t> integerForKey(std::string_view key) = 0;
    virtual std::optional<std::string> stringForKey(std::string_view key) = 0;
    virtual std::optional<QByteArray> dataForKey(std::string_view key) = 0;

    virtual void setBool(std::string_view key, bool value) = 0;
    virtual void setInteger(std::string_view key, int64_t value) = 0;
    virtual void setString(std::string_view key, std::string_view value) = 0;
    virtual void setData(std::string_view key, const QByteArray& value) = 0;
    virtual void removeObjectForKey(std::string_view key) = 0;

    /// The standard user defaults: $XDG_CONFIG_HOME/Vantrel/Vantrel.conf,
    /// opened at first use. Tests replace it with setStandard; passing null
    /// makes the next call open the file again (after a change of XDG_CONFIG_HOME).
    static std::shared_ptr<UserDefaults> standard();
    static void setStandard(std::shared_ptr<UserDefaults> defaults);
};

} // namespace vantrel
