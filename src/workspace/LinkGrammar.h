#pragma once

#include <QHash>
#include <QString>
#include <QUrl>

// How a mirkvantle: link reads, apart from what its commands do: any page may write one.
namespace LinkGrammar {

using Parameters = QHash<QString, QString>;

// More than any balloon can show or a person would send; a text that long takes the balloon
// ages to lay out.
inline constexpr qsizetype longestValue = 10000;

// The host, else the path without its slashes: "mirkvantle://say" and "mirkvantle:say" alike;
// in lower case.
QString command(const QUrl& url);

// The query items, percent-decoded; the last of a repeated key wins. Escapes that aren't UTF-8
// or an over-long item make the whole query unreadable, and an unreadable query has no
// parameters.
Parameters parameters(const QUrl& url);

} // namespace LinkGrammar
