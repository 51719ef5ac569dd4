#pragma once

#include <QByteArrayView>
#include <QString>

#include <optional>

namespace base {

// The user-visible text in the language in force at this moment: Estonian when the program
// speaks Estonian, English otherwise. Texts are picked where they are built, never stored in
// a table, so a text built earlier keeps its language.
QString pick(const QString& english, const QString& estonian);

// The text of UTF-8 bytes; none when they aren't valid UTF-8, rather than a repaired guess.
std::optional<QString> strictUtf8(QByteArrayView bytes);

// A text from outside as a menu item's title, shown as it stands: an ampersand is no mnemonic and
// a line break is a blank.
QString menuText(QString text);

// The text's first `length` UTF-16 units, one fewer where the cut would split a character
// beyond the basic plane; the text as it stands when it is no longer.
QString truncated(const QString& text, qsizetype length);

} // namespace base
