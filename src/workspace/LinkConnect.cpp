#include "app/AppDelegate.h"
#include "app/AppIdentity.h"
#include "app/Settings.h"
#include "base/Network.h"
#include "base/Text.h"
#include "stage/StageViewController.h"
#include "workspace/Keychain.h"
#include "workspace/LinkCommands.h"
#include "workspace/VantleClient.h"

#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

namespace LinkCommands {
namespace {

// Longer than any workspace address; the user could not read such an address to judge it.
constexpr qsizetype longestAddress = 2000;

// An address a link may store: none at all, any https address, or plain http to this computer.
bool isAllowed(const QString& address) {
    if (address.isEmpty()) {
        return true;
    }
    const QUrl url(address, QUrl::StrictMode);
    if (address.size() > longestAddress || !url.isValid() || url.host().isEmpty()) {
        return false;
    }
    const QString lower = address.toLower();
    return lower.startsWith(QLatin1String("https://")) ||
           (lower.startsWith(QLatin1String("http://")) && base::isThisComputer(url.host()));
}

// The user's yes, with the address the program is going to talk to in plain sight.
bool userAgrees(const QString& shown) {
    QMessageBox box;
    box.setWindowTitle(QLatin1String(AppIdentity::name));
    box.setText(base::pick(QStringLiteral("Connect to Vantle?"), QStringLiteral("Kas ühendada Vantlega?")));
    box.setInformativeText(base::pick(
        QStringLiteral("Mirk Vantle Agents will chat and show notifications as you in the workspace at ") +
            shown + QStringLiteral("."),
        QStringLiteral("Mirk Vantle Agents vestleb ja näitab teavitusi sinu nimel tööruumis ") + shown +
            QStringLiteral(".")));
    // The address comes from the link: none of it may read as markup or become a live link.
    for (auto* label : box.findChildren<QLabel*>()) {
        label->setTextFormat(Qt::PlainText);
        label->setOpenExternalLinks(false);
    }
    auto* accept = box.addButton(base::pick(QStringLiteral("Connect"), QStringLiteral("Ühenda")),
                                 QMessageBox::AcceptRole);
    auto* cancel = box.addButton(base::pick(QStringLiteral("Cancel"), QStringLiteral("Tühista")),
                                 QMessageBox::RejectRole);
    box.setDefaultButton(accept);
    box.setEscapeButton(cancel);
    return runModal(box) == accept;
}

QCoro::Task<> greet(QPointer<AppDelegate> app) {
    VantleClient::reset();
    const auto identity = co_await VantleClient::whoAmI();
    if (!app || !app->stage) {
        co_return;
    }
    if (identity) {
        const QString name = identity->name;
        app->stage->say(base::pick(QStringLiteral("Connected to Vantle as ") + name +
                                       QStringLiteral(". Press Ctrl+Alt+Space to chat."),
                                   QStringLiteral("Ühendatud Vantlega kui ") + name +
                                       QStringLiteral(". Vestlemiseks vajuta Ctrl+Alt+Space.")),
                        QStringLiteral("Congratulate"));
    } else {
        const QString reason = identity.error().localizedDescription();
        app->stage->say(base::pick(QStringLiteral("Couldn't connect to Vantle: ") + reason,
                                   QStringLiteral("Vantlega ei õnnestunud ühendada: ") + reason),
                        QStringLiteral("Alert"));
    }
}

// One question at a time: links that come while it is open don't stack more on the screen.
bool asking = false;

} // namespace

std::function<QAbstractButton*(QMessageBox&)> runModal = [](QMessageBox& box) {
    box.setWindowFlag(Qt::WindowStaysOnTopHint);
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
    return box.clickedButton();
};

void connect(const std::optional<QString>& workspace, const QString& key, AppDelegate& app) {
    const QString address = workspace.value_or(QString()).trimmed();
    if (asking || !isAllowed(address)) {
        return;
    }
    QString shown = address;
    if (shown.isEmpty()) {
        const auto stored = Settings::vantleURL();
        shown = stored ? stored->toString() : QString();
    }
    QPointer<AppDelegate> self(&app);
    asking = true;
    const bool agreed = userAgrees(shown);
    asking = false;
    if (!agreed || !self) {
        return;
    }
    if (!address.isEmpty()) {
        Settings::setValue(QLatin1String(Settings::Key::vantleURL), address);
    }
    Keychain::save(key, QLatin1String(Keychain::desktopKeyAccount));
    self->workspaceDidChange();
    if (self->stage) {
        self->stage->appear(false);
    }
    greet(self);
}

} // namespace LinkCommands
