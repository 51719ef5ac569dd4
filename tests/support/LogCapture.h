#pragma once

#include <QStringList>
#include <QtGlobal>

// What the program writes to the log while the object lives.
struct LogCapture {
    LogCapture() {
        lines().clear();
        previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext&, const QString& text) { lines() << text; });
    }
    ~LogCapture() { qInstallMessageHandler(previous); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    static QStringList& lines() {
        static QStringList captured;
        return captured;
    }
    QtMessageHandler previous;
};
