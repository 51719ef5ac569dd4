#include "stage/CharactersMenu.h"

#include "app/HotKey.h"
#include "app/VantleAgent.h"
#include "base/Text.h"
#include "character/CharacterSheet.h"

#include <QActionGroup>

namespace CharactersMenu {

QMenu* make(const std::optional<QString>& current, std::function<void(const QString& id)> choose,
            QWidget* parent) {
    auto* menu = new QMenu(base::pick(QStringLiteral("Agents"), QStringLiteral("Agendid")), parent);
    const QStringList ids = CharacterSheet::available();
    // One agent stands on stage at a time: the menu marks it as one of many.
    auto* onStage = new QActionGroup(menu);
    onStage->setExclusive(true);
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
        item->setActionGroup(onStage);
        if (agent) {
            HotKey::showOn(*item, HotKey::digit1 + static_cast<unsigned>(*agent));
        }
    }
    if (ids.size() >= 2) {
        menu->addSeparator();
        const auto at = current ? ids.indexOf(*current) : -1;
        const QString next = at < 0 ? ids.first() : ids.at((at + 1) % ids.size());
        auto* item =
            menu->addAction(base::pick(QStringLiteral("Next Agent"), QStringLiteral("Järgmine agent")), menu,
                            [choose, next] { choose(next); });
        HotKey::showOn(*item, HotKey::tab);
    }
    return menu;
}

} // namespace CharactersMenu
