#pragma once

#include "capture/Capture.h"

#include <QDateTime>
#include <QObject>

#include <optional>

// Notices that the user has just copied something in another program, so that the next opening
// of the balloon can offer to take it. It keeps only a small record of the last copy: no
// content is read until the user takes the offer. A change of the clipboard's owner is told by
// the X server (XFixes, through Qt's clipboard signal), so nothing wakes while nothing is copied.
class ClipboardWatcher : public QObject {
    Q_OBJECT
public:
    // How long a copy stays on offer.
    static constexpr double offerLifetime = 300.0;

    static ClipboardWatcher& shared();

    // Starts listening; a second call does nothing. Copies made before are never offered.
    void start();
    // What to offer: the kind of the copy and the program it came from. A copy is offered once.
    struct Offer {
        Capture::Kind kind;
        std::optional<QString> app;
    };
    std::optional<Offer> takeOffer();

    // The clipboard changed: counts the copy, and notes where it came from.
    void look();

    // Changes of the clipboard seen so far; the counter of the last copy.
    quint64 seen = 0;
    std::optional<QDateTime> copiedAt;
    std::optional<QString> copiedIn;
    std::optional<quint64> offered;

private:
    ClipboardWatcher() = default;
    bool started = false;
};
