#include "capture/ClipboardWatcher.h"

#include "base/Clock.h"
#include "platform/Services.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>

ClipboardWatcher& ClipboardWatcher::shared() {
    static auto* instance = new ClipboardWatcher; // lives as long as the process
    return *instance;
}

void ClipboardWatcher::start() {
    auto* clipboard =
        qobject_cast<QGuiApplication*>(QCoreApplication::instance()) ? QGuiApplication::clipboard() : nullptr;
    if (started || !clipboard) {
        return;
    }
    started = true;
    connect(clipboard, &QClipboard::changed, this, [this](QClipboard::Mode mode) {
        if (mode == QClipboard::Clipboard) {
            look();
        }
    });
}

void ClipboardWatcher::look() {
    ++seen;
    // A copy in one of our own windows (the balloon's text, say) is not the user's offer.
    if (QGuiApplication::clipboard()->ownsClipboard()) {
        copiedAt.reset();
        return;
    }
    copiedAt = base::Clock::now();
    copiedIn.reset();
    if (const auto windows = platform::services().activeWindow) {
        if (const auto front = windows->frontmost();
            front && front->pid != QCoreApplication::applicationPid() && !front->name.isEmpty()) {
            copiedIn = front->name;
        }
    }
}

std::optional<ClipboardWatcher::Offer> ClipboardWatcher::takeOffer() {
    if (!started || !copiedAt) {
        return std::nullopt;
    }
    if (static_cast<double>(copiedAt->msecsTo(base::Clock::now())) / 1000.0 >= offerLifetime) {
        return std::nullopt;
    }
    if (offered == seen) {
        return std::nullopt;
    }
    // The types on offer, and nothing of their content.
    const auto kind = Capture::kind(QGuiApplication::clipboard()->mimeData());
    if (!kind) {
        return std::nullopt;
    }
    offered = seen;
    return Offer{*kind, copiedIn};
}
