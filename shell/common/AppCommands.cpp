#include "shell/common/AppCommands.h"

namespace vantrel {

AppCommands& AppCommands::shared() {
    static AppCommands commands;
    return commands;
}

void AppCommands::setTrayAvailable(bool value) {
    if (trayAvailable_ == value) return;
    trayAvailable_ = value;
    emit trayAvailableChanged();
}

} // namespace vantrel
