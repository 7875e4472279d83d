#include "CursorTextRules.h"

#include <QRegularExpression>
#include <QString>
#include <QTextBoundaryFinder>

namespace vantrel {

namespace {

constexpr std::array<std::string_view, 16> kCursorTextRoles = {
    "AXButton",    "AXMenuItem", "AXMenuBarItem", "AXMenuButton",  "AXLink",
    "AXTabGroup",  "AXCheckBox", "AXRadioButton", "AXPopUpButton", "AXDisclosureTriangle",
    "AXTextField", "AXTextArea", "AXComboBox",    "AXSlider",      "AXToolbar",
    "AXCell",
};
constexpr int kMinimumLength = 3;
constexpr int kMaximumLength = 50;

int graphemeCount(const QString& text) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int count = 0;
    while (finder.toNextBoundary() != -1)
        ++count;
    return count;
}

} // namespace

bool isCursorTextRole(std::string_view role) {
    for (std::string_view known : kCursorTextRoles)
        if (known == role) return true;
    return false;
}

std::optional<std::string> acceptableCursorText(std::string_view text) {
    const QString trimmed = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())).trimmed();
    const int length = graphemeCount(trimmed);
    if (length < kMinimumLength || length > kMaximumLength) return std::nullopt;
    if (trimmed.startsWith(u'/')) return std::nullopt;
    static const QRegularExpression dateOrTime(QStringLiteral("^\\d{1,4}[:/\\-]\\d{1,2}"),
                                               QRegularExpression::UseUnicodePropertiesOption);
    if (dateOrTime.match(trimmed).hasMatch()) return std::nullopt;
    return trimmed.toStdString();
}

} // namespace vantrel
