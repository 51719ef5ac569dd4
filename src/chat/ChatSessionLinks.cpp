#include "chat/ChatSession.h"

#include "workspace/VantleClient.h"

#include <QRegularExpression>
#include <QSet>

namespace {

// Built once: they run over the whole answer at every streamed piece, so each tries a place in
// the text in bounded time, whatever the answer holds: no part of a link runs over a bracket, so
// a failed try ends at the next one. A link ends at any Unicode space, no-break ones included;
// by default \s would stand for the ASCII ones only.
constexpr auto unicodeSpaces = QRegularExpression::UseUnicodePropertiesOption;

const QRegularExpression& markdownLink() {
    static const QRegularExpression expression(
        QStringLiteral(R"(\[([^\[\]]*)\]\(((?:https?://|/)[^)\[\]\s]+)\))"), unicodeSpaces);
    return expression;
}

const QRegularExpression& bareURL() {
    static const QRegularExpression expression(
        QStringLiteral(R"(\(?(https?://[^\s)\x{FFF9}-\x{FFFC}]*[^\s).,;:!?\x{FFF9}-\x{FFFC}])\)?)"),
        unicodeSpaces);
    return expression;
}

// Marks put around what a link leaves in the text, so that a line that holds nothing else can
// go: its link is a row of its own. None of them can stand in an answer; any that does is removed.
constexpr QChar linkStart(0xFFF9);
constexpr QChar linkEnd(0xFFFB);
constexpr QChar addressGone(0xFFFC);

// A line, list item or quote that is only a link, perhaps emphasised, perhaps with a colon.
const QRegularExpression& linkOnlyLine() {
    static const QRegularExpression expression(
        QStringLiteral(
            R"(^[ \t]*(?:(?:[-*+]|\d{1,9}[.)])[ \t]+|>[ \t]?)*(?:\*\*|__|[*_])?)"
            R"((?:\x{FFF9}[^\x{FFF9}\x{FFFB}\n]*\x{FFFB}|\x{FFFC})(?:\*\*|__|[*_])?[.:]?[ \t]*(?:\n|$))"),
        QRegularExpression::MultilineOption);
    return expression;
}

struct Cleaning {
    QRegularExpression find;
    QString replace;
};

// The text stays Markdown, which the balloon renders; only what the removed links leave behind
// is tidied.
const std::array<Cleaning, 3>& cleanings() {
    static const std::array<Cleaning, 3> steps{{
        // From the first blank of a run only, so that a long run is walked once.
        {QRegularExpression(QStringLiteral("(?<! ) +([.,;:!?])")), QStringLiteral("\\1")},
        // Within a line only: leading blanks nest lists, and two at a line's end break it.
        {QRegularExpression(QStringLiteral("(?<=\\S)  +(?=\\S)")), QStringLiteral(" ")},
        {QRegularExpression(QStringLiteral("\n{3,}")), QStringLiteral("\n\n")},
    }};
    return steps;
}

QList<QRegularExpressionMatch> allMatches(const QRegularExpression& expression, const QString& text) {
    QList<QRegularExpressionMatch> matches;
    for (auto it = expression.globalMatch(text); it.hasNext();) {
        matches.append(it.next());
    }
    return matches;
}

// The text with every match replaced by what `by` makes of it.
template <typename By>
QString rebuilt(const QString& text, const QList<QRegularExpressionMatch>& matches, By by) {
    if (matches.isEmpty()) {
        return text;
    }
    QString out;
    out.reserve(text.size());
    qsizetype at = 0;
    for (const auto& m : matches) {
        out += QStringView(text).sliced(at, m.capturedStart(0) - at);
        out += by(m);
        at = m.capturedEnd(0);
    }
    out += QStringView(text).sliced(at);
    return out;
}

} // namespace

ChatSession::Extracted ChatSession::extractLinks(const QString& raw, bool isPartial,
                                                 const std::optional<QUrl>& workspace) {
    QString text = raw;
    text.remove(linkStart);
    text.remove(linkEnd);
    text.remove(addressGone);

    if (isPartial) {
        // A link still being written would flash its brackets; it waits until it is whole.
        const auto open = text.lastIndexOf(QLatin1Char('['));
        if (open >= 0 && !markdownLink().match(text, open).hasMatch()) {
            text.truncate(open);
        }
    }

    // Links are collected from the last match to the first, so that a repeated link keeps the
    // title and place of its last occurrence; the text is rebuilt in one pass.
    QList<WebLink> markdown;
    QSet<QUrl> seen; // every link so far, for a quick test of sameness
    {
        const auto matches = allMatches(markdownLink(), text);
        QSet<qsizetype> rows; // where a link stands that has its row
        for (auto m = matches.crbegin(); m != matches.crend(); ++m) {
            const QString target = m->captured(2);
            const auto url = VantleClient::dashboardURL(target, workspace);
            if (url) {
                rows.insert(m->capturedStart(0));
            }
            if (url && !seen.contains(*url)) {
                seen.insert(*url);
                QString shown = m->captured(1);
                if (shown.isEmpty()) {
                    shown = url->host().isEmpty() ? target : url->host();
                }
                markdown.append({shown, *url});
            }
        }
        std::reverse(markdown.begin(), markdown.end());
        text = rebuilt(text, matches, [&rows](const QRegularExpressionMatch& m) {
            return rows.contains(m.capturedStart(0)) ? linkStart + m.captured(1) + linkEnd : m.captured(1);
        });
    }

    QList<WebLink> bare;
    {
        const auto matches = allMatches(bareURL(), text);
        for (auto m = matches.crbegin(); m != matches.crend(); ++m) {
            const QString address = m->captured(1);
            const QUrl url(address, QUrl::StrictMode);
            if (url.isValid() && !seen.contains(url)) {
                seen.insert(url);
                bare.prepend({url.host().isEmpty() ? address : url.host(), url});
            }
        }
        text = rebuilt(text, matches, [](const QRegularExpressionMatch&) { return QString(addressGone); });
    }

    if (isPartial) {
        // An address too short to be recognised yet is hidden until it is.
        const auto start = text.lastIndexOf(QLatin1String("http"));
        if (start >= 0 && !QStringView(text).sliced(start).contains(QLatin1Char(' '))) {
            text.truncate(start);
        }
    }

    // A line that is only a link shows as its row, not twice.
    text.remove(linkOnlyLine());
    text.remove(linkStart);
    text.remove(linkEnd);
    text.remove(addressGone);

    if (isPartial) {
        // Bold still being written would show its stars until it is closed.
        const QLatin1String stars("**");
        qsizetype last = -1;
        bool open = false;
        for (auto at = text.indexOf(stars); at >= 0; at = text.indexOf(stars, at + 2)) {
            last = at;
            open = !open;
        }
        if (open) {
            text.remove(last, 2);
        }
    }
    for (const auto& step : cleanings()) {
        text.replace(step.find, step.replace);
    }

    return {text.trimmed(), markdown + bare};
}
