#include "stage/CharactersMenu.h"

#include "app/VantleAgent.h"
#include "base/Text.h"
#include "character/CharacterSheet.h"

#include <QKeySequence>

namespace CharactersMenu {
namespace {

void showKey(QAction& item, Qt::Key key) {
    item.setShortcut(QKeySequence(QKeyCombination(Qt::ControlModifier | Qt::AltModifier, key)));
    item.setShortcutVisibleInContextMenu(true);
}

} // namespace

QMenu* make(const std::optional<QString>& current, std::function<void(const QString& id)> choose,
            QWidget* parent) {
    auto* menu = new QMenu(base::pick(QStringLiteral("Agents"), QStringLiteral("Agendid")), parent);
    const QStringList ids = CharacterSheet::available();
    for (const auto& id : ids) {
        const auto agent = VantleAgents::fromRawValue(id);
        QString title = id;
        if (agent) {
            title = VantleAgents::displayName(*agent);
        } else if (const auto sheet = CharacterSheet::named(id)) {
            title = sheet->definition.name;
        }
        auto* item = menu->addAction(title, menu, [choose, id] { choose(id); });
        item->setCheckable(true);
        item->setChecked(id == current);
        if (agent) {
            showKey(*item, static_cast<Qt::Key>(Qt::Key_1 + static_cast<int>(*agent)));
        }
    }
    if (ids.size() >= 2) {
        menu->addSeparator();
        const auto at = current ? ids.indexOf(*current) : -1;
        const QString next = at < 0 ? ids.first() : ids.at((at + 1) % ids.size());
        auto* item =
            menu->addAction(base::pick(QStringLiteral("Next Agent"), QStringLiteral("Järgmine agent")), menu,
                            [choose, next] { choose(next); });
        showKey(*item, Qt::Key_Tab);
    }
    return menu;
}

} // namespace CharactersMenu
