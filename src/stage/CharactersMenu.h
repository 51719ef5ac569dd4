#pragma once

#include <QMenu>
#include <QString>

#include <functional>
#include <optional>

// The characters to choose from, as the figure's context menu and the tray show them: each
// available one with its shortcut, the current one marked as the one of many, then a step to the
// next one.
namespace CharactersMenu {

QMenu* make(const std::optional<QString>& current, std::function<void(const QString& id)> choose,
            QWidget* parent);

} // namespace CharactersMenu
