#include "platform/permissions/PrivacyAccess.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vantrel {

namespace {

bool isRefusal(int error) {
    return error == EACCES || error == EPERM;
}

int cameraStatus(const std::filesystem::path& deviceDirectory) {
    std::error_code error;
    bool sawRefusal = false;
    for (const auto& entry : std::filesystem::directory_iterator(deviceDirectory, error)) {
        if (!entry.path().filename().string().starts_with("video")) continue;
        const int fd = ::open(entry.path().c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        if (fd >= 0) {
            ::close(fd);
            return AVAuthorizationStatusAuthorized;
        }
        sawRefusal = sawRefusal || isRefusal(errno);
    }
    return sawRefusal ? AVAuthorizationStatusDenied : AVAuthorizationStatusAuthorized;
}

std::string pulseSocketPath() {
    if (const char* server = std::getenv("PULSE_SERVER"); server && std::strncmp(server, "unix:", 5) == 0)
        return server + 5;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime)
        return std::string(runtime) + "/pulse/native";
    return {};
}

int microphoneStatus() {
    const std::string path = pulseSocketPath();
    sockaddr_un address{};
    if (path.empty() || path.size() >= sizeof(address.sun_path)) return AVAuthorizationStatusAuthorized;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return AVAuthorizationStatusAuthorized;
    const int result = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    const int error = errno;
    ::close(fd);
    // A server that is not running is a missing device, found elsewhere; only
    // a socket that turns us away is a refusal.
    return result != 0 && isRefusal(error) ? AVAuthorizationStatusDenied : AVAuthorizationStatusAuthorized;
}

} // namespace

MediaAuthorizationDevices::MediaAuthorizationDevices(std::filesystem::path deviceDirectory)
    : deviceDirectory_(std::move(deviceDirectory)) {}

int MediaAuthorizationDevices::authorizationStatus(AVMediaType mediaType) {
    return mediaType == AVMediaType::video ? cameraStatus(deviceDirectory_) : microphoneStatus();
}

} // namespace vantrel
