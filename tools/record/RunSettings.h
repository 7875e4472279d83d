#pragma once
// The user's settings, as the app would snapshot them, with this run's flags
// laid over them. Nothing is stored: the flags count for this run only.

#include "RecordOptions.h"
#include "settings/Providers.h"

#include <memory>

namespace vantrel::tools {

class RunSettings final : public AppSettingsProvider {
public:
    RunSettings(std::shared_ptr<AppSettingsProvider> userSettings, const RecordOptions& options,
                CGDirectDisplayID display);
    AppSettingsSnapshot makeSnapshot() override;

private:
    std::shared_ptr<AppSettingsProvider> userSettings_;
    RecordOptions options_;
    CGDirectDisplayID display_;
};

} // namespace vantrel::tools
