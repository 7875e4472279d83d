#include "shell/updates/AppcastFeed.h"

#include <QRegularExpression>
#include <QXmlStreamReader>
#include <algorithm>

namespace vantrel {

namespace {

std::optional<std::vector<long long>> versionParts(const QString& version) {
    static const QRegularExpression leadingNumber(QStringLiteral("^\\d+"));
    std::vector<long long> parts;
    for (const QString& part : version.trimmed().split(QLatin1Char('.'))) {
        const QRegularExpressionMatch match = leadingNumber.match(part);
        if (!match.hasMatch()) {
            if (parts.empty()) return std::nullopt;
            break;
        }
        parts.push_back(match.captured().toLongLong());
    }
    if (parts.empty()) return std::nullopt;
    return parts;
}

QString plainNotes(QString html) {
    static const QRegularExpression tag(QStringLiteral("<[^>]*>"));
    static const QRegularExpression space(QStringLiteral("\\s+"));
    html.replace(tag, QStringLiteral(" "));
    html.replace(QStringLiteral("&nbsp;"), QStringLiteral(" "));
    html.replace(QStringLiteral("&lt;"), QStringLiteral("<"));
    html.replace(QStringLiteral("&gt;"), QStringLiteral(">"));
    html.replace(QStringLiteral("&amp;"), QStringLiteral("&"));
    return html.replace(space, QStringLiteral(" ")).trimmed();
}

bool isWebURL(const QUrl& url) {
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http"));
}

struct RawItem {
    QString version, title, notes, link, enclosureURL, enclosureVersion;
};

} // namespace

std::optional<int> compareVersions(const QString& a, const QString& b) {
    auto pa = versionParts(a), pb = versionParts(b);
    if (!pa || !pb) return std::nullopt;
    const size_t n = std::max(pa->size(), pb->size());
    pa->resize(n, 0);
    pb->resize(n, 0);
    for (size_t i = 0; i < n; ++i)
        if ((*pa)[i] != (*pb)[i]) return (*pa)[i] < (*pb)[i] ? -1 : 1;
    return 0;
}

std::variant<std::vector<AppcastItem>, AppcastParseError> parseAppcast(const QByteArray& xml) {
    QXmlStreamReader reader(xml);
    std::vector<RawItem> raw;
    bool sawRSS = false;
    std::optional<RawItem> current;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            const QStringView name = reader.name();
            if (name == QLatin1String("rss"))
                sawRSS = true;
            else if (name == QLatin1String("item"))
                current.emplace();
            else if (!current)
                continue;
            else if (name == QLatin1String("enclosure")) {
                const QXmlStreamAttributes attributes = reader.attributes();
                for (const QXmlStreamAttribute& attribute : attributes) {
                    if (attribute.name() == QLatin1String("url"))
                        current->enclosureURL = attribute.value().toString();
                    else if (attribute.name() == QLatin1String("version") ||
                             (attribute.name() == QLatin1String("shortVersionString") &&
                              current->enclosureVersion.isEmpty()))
                        current->enclosureVersion = attribute.value().toString();
                }
            } else if (name == QLatin1String("version") || name == QLatin1String("shortVersionString")) {
                const QString text = reader.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
                if (name == QLatin1String("version") || current->version.isEmpty()) current->version = text;
            } else if (name == QLatin1String("title")) {
                current->title = reader.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
            } else if (name == QLatin1String("description")) {
                current->notes = reader.readElementText(QXmlStreamReader::IncludeChildElements);
            } else if (name == QLatin1String("link")) {
                current->link = reader.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
            }
        } else if (reader.isEndElement() && reader.name() == QLatin1String("item") && current) {
            raw.push_back(std::move(*current));
            current.reset();
        }
    }
    if (reader.hasError())
        return AppcastParseError{
            QStringLiteral("line %1: %2").arg(reader.lineNumber()).arg(reader.errorString())};
    if (!sawRSS) return AppcastParseError{QStringLiteral("not an RSS feed")};

    std::vector<AppcastItem> items;
    for (RawItem& r : raw) {
        AppcastItem item;
        item.version = r.version.isEmpty() ? r.enclosureVersion : r.version;
        item.title = r.title;
        item.notes = plainNotes(r.notes);
        item.downloadURL = QUrl(r.enclosureURL.isEmpty() ? r.link : r.enclosureURL.trimmed());
        if (!compareVersions(item.version, item.version) || !isWebURL(item.downloadURL)) continue;
        items.push_back(std::move(item));
    }
    if (items.empty())
        return AppcastParseError{QStringLiteral("no release with a version and a download link")};
    std::stable_sort(items.begin(), items.end(), [](const AppcastItem& a, const AppcastItem& b) {
        return *compareVersions(a.version, b.version) > 0;
    });
    return items;
}

} // namespace vantrel
