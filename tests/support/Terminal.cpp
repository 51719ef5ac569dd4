#include "support/Terminal.h"

Terminal::Terminal(const QStringList& options) {
    process.start(QStringLiteral("xterm"), options + QStringList{"-e", "sleep", "600"});
    if (!process.waitForStarted()) {
        return;
    }
    QProcess search;
    search.start(QStringLiteral("xdotool"),
                 {"search", "--sync", "--onlyvisible", "--pid", QString::number(pid())});
    if (search.waitForFinished(10000)) {
        window = search.readAllStandardOutput().split('\n').value(0).toUInt();
    } else {
        search.kill();
        search.waitForFinished();
    }
}

Terminal::~Terminal() {
    process.kill();
    process.waitForFinished();
}

bool Terminal::activate() const {
    return QProcess::execute(QStringLiteral("xdotool"),
                             {"windowactivate", "--sync", QString::number(window)}) == 0;
}
