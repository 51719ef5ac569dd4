#include "stage/StageViewController.h"

#include "base/Text.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterWindow.h"
#include "panels/DornReport.h"
#include "panels/DornReportPanel.h"
#include "platform/LinkAction.h"
#include "workspace/VantleClient.h"

#include <QCoro/QCoroTask>
#include <QGuiApplication>
#include <QScreen>

void StageViewController::showDornReport() {
    closeChat();
    player().play({QStringLiteral("Explain"), QStringLiteral("GetAttention")});
    [](QPointer<StageViewController> self) -> QCoro::Task<> {
        const auto report = co_await VantleClient::dornReport();
        if (!self) {
            co_return;
        }
        if (!report) {
            self->say(report.error().localizedDescription(), QStringLiteral("Alert"));
        } else if (!*report) {
            self->say(
                base::pick(QStringLiteral("I haven't written a report yet — run the first one in Vantle, "
                                          "on my page."),
                           QStringLiteral("Ma pole veel raportit kirjutanud — käivita esimene Vantles minu "
                                          "lehel.")),
                QStringLiteral("Explain"));
        } else {
            self->presentReport(**report);
        }
    }(this);
}

void StageViewController::closeReport() {
    if (!reportPanel) {
        return;
    }
    DornReportPanel* panel = reportPanel;
    reportPanel = nullptr;
    panel->onClose = nullptr;
    panel->orderOut();
    // Closing may come from a button of the panel itself.
    panel->deleteLater();
}

void StageViewController::presentReport(const DornReport& report) {
    closeReport();
    QPointer<StageViewController> self(this);
    auto* panel = new DornReportPanel(
        report,
        [self] {
            if (const auto url = VantleClient::dashboardURL(QStringLiteral("/agents/dorn"))) {
                platform::openLink(*url);
            }
            if (self) {
                self->closeReport();
            }
        },
        window());
    panel->onClose = [self] {
        if (self) {
            self->closeReport();
        }
    };
    reportPanel = panel;
    if (auto* w = window()) {
        panel->place(w->frameGeometry(), w->screen() ? w->screen() : QGuiApplication::primaryScreen());
    }
    panel->show();
    panel->raise();
}
