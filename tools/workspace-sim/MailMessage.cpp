#include "MailMessage.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QRegularExpression>
#include <QStringDecoder>

#include <vector>

namespace {

struct Header {
    QString name;
    QByteArray value;
};

// Head of the message up to the first empty line, with folded lines joined.
std::vector<Header> headersOf(const QByteArray& bytes) {
    std::vector<Header> headers;
    qsizetype at = 0;
    while (at < bytes.size()) {
        qsizetype end = bytes.indexOf('\n', at);
        if (end < 0)
            end = bytes.size();
        QByteArray line = bytes.mid(at, end - at);
        if (line.endsWith('\r'))
            line.chop(1);
        at = end + 1;
        if (line.isEmpty())
            break;
        if ((line.startsWith(' ') || line.startsWith('\t')) && !headers.empty()) {
            headers.back().value += ' ' + line.trimmed();
            continue;
        }
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            continue;
        headers.push_back(
            {QString::fromLatin1(line.left(colon).trimmed()).toLower(), line.mid(colon + 1).trimmed()});
    }
    return headers;
}

QString decodeCharset(const QByteArray& bytes, const QByteArray& charset) {
    QStringDecoder decoder(charset.constData());
    if (!decoder.isValid())
        return QString::fromUtf8(bytes);
    return decoder.decode(bytes);
}

// Encoded words (=?charset?B?...?= and =?charset?Q?...?=), as mail headers carry non-ASCII text.
QString decodeWords(const QByteArray& raw) {
    static const QRegularExpression word(QStringLiteral(R"(=\?([^?]+)\?([BbQq])\?([^?]*)\?=)"));
    const QString text = QString::fromUtf8(raw);
    QString out;
    qsizetype last = 0;
    bool previousWasWord = false;
    auto matches = word.globalMatch(text);
    while (matches.hasNext()) {
        const auto match = matches.next();
        const QString between = text.mid(last, match.capturedStart() - last);
        // Blanks between two encoded words are part of the folding, not of the text.
        if (!(previousWasWord && between.trimmed().isEmpty()))
            out += between;
        const QByteArray charset = match.captured(1).toLatin1();
        const QByteArray payload = match.captured(3).toLatin1();
        QByteArray decoded;
        if (match.captured(2).toUpper() == QLatin1String("B")) {
            decoded = QByteArray::fromBase64(payload);
        } else {
            QByteArray underscored = payload;
            underscored.replace('_', ' ');
            decoded = QByteArray::fromPercentEncoding(underscored, '=');
        }
        out += decodeCharset(decoded, charset);
        last = match.capturedEnd();
        previousWasWord = true;
    }
    out += text.mid(last);
    return out;
}

} // namespace

MailMessage MailMessage::read(const std::string& raw) {
    const QByteArray bytes = QByteArray::fromStdString(raw);
    MailMessage message;
    for (const Header& header : headersOf(bytes)) {
        if (header.name == QLatin1String("subject") && message.subject.isEmpty()) {
            message.subject = decodeWords(header.value);
        } else if (header.name == QLatin1String("from") && message.fromEmail.isEmpty()) {
            const QString from = decodeWords(header.value);
            static const QRegularExpression angled(QStringLiteral(R"(^(.*)<([^>]+)>\s*$)"));
            const auto match = angled.match(from);
            if (match.hasMatch()) {
                QString name = match.captured(1).trimmed();
                if (name.size() >= 2 && name.startsWith(QLatin1Char('"')) && name.endsWith(QLatin1Char('"')))
                    name = name.mid(1, name.size() - 2);
                message.fromName = name;
                message.fromEmail = match.captured(2).trimmed();
            } else {
                message.fromEmail = from.trimmed();
            }
        } else if (header.name == QLatin1String("message-id") && message.identity.isEmpty()) {
            message.identity = QString::fromLatin1(header.value);
        }
    }
    static const QRegularExpression attachment(
        QStringLiteral(
            R"(content-disposition:\s*attachment;[^\n]*?\n?[ \t]*[^\n]*?filename\*?=\s*"?([^";\r\n]+))"),
        QRegularExpression::CaseInsensitiveOption);
    auto matches = attachment.globalMatch(QString::fromUtf8(bytes));
    while (matches.hasNext() && message.attachments.size() < 100)
        message.attachments.append(decodeWords(matches.next().captured(1).trimmed().toUtf8()));
    if (message.identity.isEmpty())
        message.identity =
            QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    return message;
}
