#pragma once

#include "app/AppLanguage.h"

#include <QCoro/QCoroTask>

// Which of the two languages the program speaks at this moment.
namespace Language {

// The user's explicit choice, else the workspace's language, else Estonian when the system
// speaks Estonian, else English. Computed on each call.
AppLanguage current();

// Asks the workspace for its language (a public call) and stores it. Announces
// languageDidChange only when the language in force changed. Returns at once; any failure
// leaves the stored language as it was.
QCoro::Task<> refreshWorkspaceLanguage();

} // namespace Language
