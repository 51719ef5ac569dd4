#pragma once

#include "app/AppLanguage.h"

#include <QCoro/QCoroTask>
#include <QLocale>

// Which of the two languages the program speaks at this moment.
namespace Language {

// The user's explicit choice, else the workspace's language, else Estonian when the system
// speaks Estonian, else English. Computed on each call.
AppLanguage current();

// The locale that writes dates and times in the language: American English or Estonian.
QLocale locale(AppLanguage language);

// Asks the workspace for its language (a public call) and stores it. Announces
// languageDidChange only when the language in force changed. Returns at once; any failure
// leaves the stored language as it was.
QCoro::Task<> refreshWorkspaceLanguage();

} // namespace Language
