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

HotKey* HotKey::make(unsigned keysym, const QString& description, std::function<void()> action,
                     QObject* parent) {
    auto grabber = platform::services().hotKeys;
    if (!grabber) {
        return nullptr;
    }
    const int id = grabber->grab(keysym, description, std::move(action));
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
        if (key->keysym != keysym || !key->grabber->works(key->id)) {
            continue;
        }
        row.setShortcutVisibleInContextMenu(true);
        const QString chosen = key->grabber->keys(key->id);
        if (chosen.isEmpty()) {
            // Latin keysyms are Qt's key codes; Tab is the one other key the program uses.
            const auto qtKey = keysym == tab ? Qt::Key_Tab : static_cast<Qt::Key>(keysym);
            row.setShortcut(QKeySequence(QKeyCombination(Qt::ControlModifier | Qt::AltModifier, qtKey)));
            return;
        }
        // Keys the desktop words its own way stand in the menu's shortcut column as they are.
        const QKeySequence sequence(chosen);
        if (sequence.count() == 1 && sequence[0].key() != Qt::Key_unknown) {
            row.setShortcut(sequence);
        } else {
            row.setText(row.text().section(u'\t', 0, 0) + u'\t' + chosen);
        }
        return;
    }
}
