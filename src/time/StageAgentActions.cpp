#include "stage/StageViewController.h"

#include "base/Clock.h"
#include "base/Text.h"
#include "character/CharacterSheet.h"

#include <QAction>

QList<QAction*> StageViewController::reportActions(VantleAgent agent, QObject* parent) {
    // Which agents the workspace has switched on isn't known here, so Pelka is at hand wherever
    // she is installed.
    const bool pelkaInstalled =
        CharacterSheet::available().contains(VantleAgents::rawValue(VantleAgent::pelka));
    if (agent != VantleAgent::pelka && pelkaInstalled) {
        return {};
    }
    QPointer<StageViewController> self(this);
    auto* today =
        new QAction(base::pick(QStringLiteral("Today's Report"), QStringLiteral("Tänane aruanne")), parent);
    QObject::connect(today, &QAction::triggered, today, [self] {
        if (self && self->onGenerateReport) {
            self->onGenerateReport(base::Clock::now().date());
        }
    });
    auto* folder = new QAction(
        base::pick(QStringLiteral("Open Reports Folder"), QStringLiteral("Ava aruannete kaust")), parent);
    QObject::connect(folder, &QAction::triggered, folder, [self] {
        if (self && self->onOpenReportsFolder) {
            self->onOpenReportsFolder();
        }
    });
    return {today, folder};
}
