#pragma once

#include <QStringList>

#include <gtest/gtest.h>

// Whether each program is on the PATH; a failure names the ones missing. scripts/setup installs
// them all, so a missing one fails the test rather than letting it pass untried.
testing::AssertionResult installed(const QStringList& programs);
