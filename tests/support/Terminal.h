#pragma once

#include <QProcess>
#include <QStringList>

#include <cstdint>

// Another program's window on the test's X server: a terminal started with the given options
// (such as -class and -title), closed with the object.
class Terminal {
public:
    explicit Terminal(const QStringList& options);
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    qint64 pid() const { return process.processId(); }
    // Brings the window to the front through the window manager, and waits until it is there.
    bool activate() const;

    std::uint32_t window = 0; // none until it shows

private:
    QProcess process;
};
