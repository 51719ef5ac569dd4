#pragma once

#include <QString>

namespace base {

// The user-visible text in the language in force at this moment: Estonian when the program
// speaks Estonian, English otherwise. Texts are picked where they are built, never stored in
// a table, so a text built earlier keeps its language.
QString pick(const QString& english, const QString& estonian);

} // namespace base
