#include "app/HotKey.h"

#include "platform/Services.h"

#include <QAction>
#include <QKeySequence>
#include <QList>

namespace {

// The shortcuts held now, for the menus to show.
QList<const HotKey*>& held() {
    static QList<const HotKey*> all;
    return all;
}

} // namespace

HotKey* HotKey::make(unsigned keysym, std::function<void()> action, QObject* parent) {
    auto grabber = platform::services().hotKeys;
    if (!grabber) {
        return nullptr;
    }
    const int id = grabber->grab(keysym, std::move(action));
    return id == 0 ? nullptr : new HotKey(std::move(grabber), id, keysym, parent);
}

HotKey::HotKey(std::shared_ptr<platform::HotKeyGrabber> g, int i, unsigned k, QObject* parent)
    : QObject(parent), grabber(std::move(g)), id(i), keysym(k) {
    held().append(this);
}

HotKey::~HotKey() {
    held().removeOne(this);
    grabber->release(id);
}

void HotKey::showOn(QAction& row, unsigned keysym) {
    for (const HotKey* key : std::as_const(held())) {
        if (key->keysym == keysym && key->grabber->works(key->id)) {
            // Latin keysyms are Qt's key codes; Tab is the one other key the program uses.
            const auto qtKey = keysym == tab ? Qt::Key_Tab : static_cast<Qt::Key>(keysym);
            row.setShortcut(QKeySequence(QKeyCombination(Qt::ControlModifier | Qt::AltModifier, qtKey)));
            row.setShortcutVisibleInContextMenu(true);
            return;
        }
    }
}
