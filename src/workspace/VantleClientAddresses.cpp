#include "workspace/VantleClient.h"

#include "app/Settings.h"
#include "base/Network.h"

// The workspace's pages, apart from the calls, so that what reads answers can use them alone.
namespace VantleClient {

std::optional<QUrl> dashboardURL(const QString& path) {
    return dashboardURL(path, Settings::vantleURL());
}

std::optional<QUrl> dashboardURL(const QString& path, const std::optional<QUrl>& workspace) {
    const QUrl absolute(path, QUrl::StrictMode);
    if (absolute.isValid() && !absolute.scheme().isEmpty()) {
        return absolute;
    }
    if (!workspace) {
        return std::nullopt;
    }
    const QUrl url =
        base::appended(*workspace, path.startsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path);
    return url.isValid() ? std::optional(url) : std::nullopt;
}

} // namespace VantleClient
