#include "chat/ChatSession.h"

#include "workspace/VantleClient.h"

#include <QRegularExpression>

namespace {

// Built once: they run over the whole answer at every streamed piece.
const QRegularExpression& markdownLink() {
    static const QRegularExpression expression(QStringLiteral(R"(\[([^\]]*)\]\(((?:https?://|/)[^)\s]+)\))"));
    return expression;
}

const QRegularExpression& bareURL() {
    static const QRegularExpression expression(QStringLiteral(R"(\(?(https?://[^\s)]*[^\s).,;:!?])\)?)"));
    return expression;
}

struct Cleaning {
    QRegularExpression find;
    QString replace;
};

const std::array<Cleaning, 5>& cleanings() {
    static const std::array<Cleaning, 5> steps{{
        {QRegularExpression(QStringLiteral("^#{1,6} +"), QRegularExpression::MultilineOption), QString()},
        {QRegularExpression(QStringLiteral("^[*-] +"), QRegularExpression::MultilineOption),
         QStringLiteral("• ")},
        {QRegularExpression(QStringLiteral(" +([.,;:!?])")), QStringLiteral("\\1")},
        {QRegularExpression(QStringLiteral("  +")), QStringLiteral(" ")},
        {QRegularExpression(QStringLiteral("\n{3,}")), QStringLiteral("\n\n")},
    }};
    return steps;
}

bool holds(const QList<WebLink>& links, const QUrl& url) {
    return std::any_of(links.begin(), links.end(), [&](const WebLink& l) { return l.url == url; });
}

} // namespace

ChatSession::Extracted ChatSession::extractLinks(const QString& raw, bool isPartial) {
    QString text = raw;

    if (isPartial) {
        // A link still being written would flash its brackets; it waits until it is whole.
        const auto open = text.lastIndexOf(QLatin1Char('['));
        if (open >= 0 && !markdownLink().match(text, open).hasMatch()) {
            text.truncate(open);
        }
    }

    QList<WebLink> markdown;
    {
        QList<QRegularExpressionMatch> matches;
        for (auto it = markdownLink().globalMatch(text); it.hasNext();) {
            matches.append(it.next());
        }
        for (auto m = matches.crbegin(); m != matches.crend(); ++m) {
            const QString title = m->captured(1);
            const QString target = m->captured(2);
            if (const auto url = VantleClient::dashboardURL(target); url && !holds(markdown, *url)) {
                QString shown = title;
                if (shown.isEmpty()) {
                    shown = url->host().isEmpty() ? target : url->host();
                }
                markdown.append({shown, *url});
            }
            text.replace(m->capturedStart(0), m->capturedLength(0), title);
        }
        std::reverse(markdown.begin(), markdown.end());
    }

    QList<WebLink> bare;
    {
        QList<QRegularExpressionMatch> matches;
        for (auto it = bareURL().globalMatch(text); it.hasNext();) {
            matches.append(it.next());
        }
        for (auto m = matches.crbegin(); m != matches.crend(); ++m) {
            const QString address = m->captured(1);
            const QUrl url(address, QUrl::StrictMode);
            if (url.isValid() && !holds(markdown, url) && !holds(bare, url)) {
                bare.prepend({url.host().isEmpty() ? address : url.host(), url});
            }
            text.remove(m->capturedStart(0), m->capturedLength(0));
        }
    }

    if (isPartial) {
        // An address too short to be recognised yet is hidden until it is.
        const auto start = text.lastIndexOf(QLatin1String("http"));
        if (start >= 0 && !QStringView(text).sliced(start).contains(QLatin1Char(' '))) {
            text.truncate(start);
        }
    }

    text.remove(QLatin1String("**"));
    for (const auto& step : cleanings()) {
        text.replace(step.find, step.replace);
    }

    return {text.trimmed(), markdown + bare};
}
