#include "platform/runtime/SecurityScopedBookmark.h"

#include <map>
#include <mutex>
#include <system_error>
#include <unistd.h>

namespace vantrel {

namespace {

struct AccessLedger {
    std::mutex mutex;
    std::map<std::filesystem::path, int> counts;
};

AccessLedger& ledger() {
    static AccessLedger instance;
    return instance;
}

} // namespace

QByteArray bookmarkData(const URL& url) {
    if (url.path.empty() || !url.path.is_absolute())
        throw FileServiceError("The folder \"" + url.path.string() + "\" is not an absolute path.");
    const std::string text = url.path.lexically_normal().string();
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

ResolvedBookmark resolveBookmarkData(const QByteArray& data) {
    const std::filesystem::path path(data.toStdString());
    if (data.isEmpty() || data.contains('\0') || !path.is_absolute())
        throw FileServiceError("The bookmark data is not a folder path.");
    std::error_code error;
    if (!std::filesystem::is_directory(path, error))
        throw FileServiceError("The folder \"" + path.string() + "\" doesn't exist.");
    return {URL{path}, false};
}

bool startAccessingSecurityScopedResource(const URL& url) {
    std::error_code error;
    if (url.path.empty() || !std::filesystem::is_directory(url.path, error)) return false;
    // Creating a file needs write and search permission on the folder.
    if (::access(url.path.c_str(), W_OK | X_OK) != 0) return false;
    auto& book = ledger();
    std::lock_guard guard(book.mutex);
    ++book.counts[url.path];
    return true;
}

void stopAccessingSecurityScopedResource(const URL& url) {
    auto& book = ledger();
    std::lock_guard guard(book.mutex);
    auto entry = book.counts.find(url.path);
    if (entry == book.counts.end()) return;
    if (--entry->second <= 0) book.counts.erase(entry);
}

int activeSecurityScopedAccessCount(const URL& url) {
    auto& book = ledger();
    std::lock_guard guard(book.mutex);
    auto entry = book.counts.find(url.path);
    return entry == book.counts.end() ? 0 : entry->second;
}

} // namespace vantrel
