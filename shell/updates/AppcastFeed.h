#pragma once
// The update feed: an RSS 2.0 channel with one <item> per release. Each item
// names its version (a <version> element or a version attribute on its
// <enclosure>, in any namespace, so appcasts written for other updaters read
// too), carries short notes in <description> and the download address in the
// enclosure's url or, without one, in <link>.

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <optional>
#include <variant>
#include <vector>

namespace vantrel {

struct AppcastItem {
    QString version;
    QString title;
    /// Plain text: markup is taken out, runs of white space become one space.
    QString notes;
    QUrl downloadURL;
};

struct AppcastParseError {
    QString reason;
};

/// The items of `xml`, newest first, or why the feed cannot be used. A feed
/// without any release with a version and an http(s) download link is
/// malformed; items lacking either are skipped.
std::variant<std::vector<AppcastItem>, AppcastParseError> parseAppcast(const QByteArray& xml);

/// Compares dotted versions part by part as numbers ("0.10" is newer than
/// "0.9", "1.2" equals "1.2.0"); a part's trailing letters ("2rc1") are
/// ignored. Negative, zero or positive like strcmp; absent when either
/// version does not start with a number.
std::optional<int> compareVersions(const QString& a, const QString& b);

} // namespace vantrel
