#pragma once

#include <QObject>

namespace platform {

// The session's own events: the machine going to sleep and waking, and the session being
// locked, left for another one or covered by its screen saver. Any number of listeners may
// connect; where the system tells nothing, nothing is ever sent.
class SessionEvents : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    // The user's session is in front, unlocked, and no screen saver runs.
    virtual bool isSessionActive() const = 0;

signals:
    void willSleep();
    void didWake();
    // isSessionActive() changed.
    void activeChanged(bool active);
};

} // namespace platform
