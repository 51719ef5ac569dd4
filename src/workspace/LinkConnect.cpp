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

// The user's yes, with the address the program is going to talk to and the account it is going
// to act as in plain sight. "Cancel" is the default: a Return pressed in haste agrees to nothing.
bool userAgrees(const QString& shown, const VantleClient::Identity& account) {
    QMessageBox box;
    box.setWindowTitle(QLatin1String(AppIdentity::name));
    box.setText(base::pick(QStringLiteral("Connect to Vantle?"), QStringLiteral("Kas ühendada Vantlega?")));
    const QString who = account.name == account.email
                            ? account.email
                            : account.name + QStringLiteral(" (") + account.email + QLatin1Char(')');
    box.setInformativeText(base::pick(
        QStringLiteral("Mirk Vantle Agents will chat and show notifications as you in the workspace at ") +
            shown + QStringLiteral(".\n\nAccount: ") + who,
        QStringLiteral("Mirk Vantle Agents vestleb ja näitab teavitusi sinu nimel tööruumis ") + shown +
            QStringLiteral(".\n\nKonto: ") + who));
    // The address and the account come from outside: none of it may read as markup or become a
    // live link.
    for (auto* label : box.findChildren<QLabel*>()) {
        label->setTextFormat(Qt::PlainText);
        label->setOpenExternalLinks(false);
    }
    auto* accept = box.addButton(base::pick(QStringLiteral("Connect"), QStringLiteral("Ühenda")),
                                 QMessageBox::AcceptRole);
    auto* cancel = box.addButton(base::pick(QStringLiteral("Cancel"), QStringLiteral("Tühista")),
                                 QMessageBox::RejectRole);
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    return runModal(box) == accept;
}

void say(AppDelegate* app, const QString& english, const QString& estonian, const QString& animation) {
    if (app && app->stage) {
        app->stage->say(base::pick(english, estonian), animation);
    }
}

QCoro::Task<> greet(QPointer<AppDelegate> app) {
    VantleClient::reset();
    const auto identity = co_await VantleClient::whoAmI();
    if (identity) {
        const QString name = identity->name;
        say(app,
            QStringLiteral("Connected to Vantle as ") + name +
                QStringLiteral(". Press Ctrl+Alt+Space to chat."),
            QStringLiteral("Ühendatud Vantlega kui ") + name +
                QStringLiteral(". Vestlemiseks vajuta Ctrl+Alt+Space."),
            QStringLiteral("Congratulate"));
    } else {
        const QString reason = identity.error().localizedDescription();
        say(app, QStringLiteral("Couldn't connect to Vantle: ") + reason,
            QStringLiteral("Vantlega ei õnnestunud ühendada: ") + reason, QStringLiteral("Alert"));
    }
}

struct Request {
    QString address;
    QString key;
};

// Links that came while another was being checked or asked about, answered one after another.
// A page that sends many gets the first few.
constexpr qsizetype longestQueue = 4;
QList<Request> waiting;
bool busy = false;

// One link: the account checked, then the question, then the change.
QCoro::Task<> handle(Request request, QPointer<AppDelegate> app) {
    std::optional<QUrl> target;
    if (!request.address.isEmpty()) {
        target = QUrl(request.address, QUrl::StrictMode);
    } else {
        target = Settings::vantleURL();
    }
    if (!target) {
        co_return;
    }
    // Whose account the key opens, asked before anything is shown: a key the workspace refuses
    // never reaches the question.
    const auto account = co_await VantleClient::whoIs(*target, request.key.trimmed());
    if (!app) {
        co_return;
    }
    if (!account) {
        const QString reason = account.error().localizedDescription();
        say(app, QStringLiteral("Couldn't connect to Vantle: ") + reason,
            QStringLiteral("Vantlega ei õnnestunud ühendada: ") + reason, QStringLiteral("Alert"));
        co_return;
    }
    if (!userAgrees(shownAddress(*target), *account) || !app) {
        co_return;
    }
    if (!request.address.isEmpty()) {
        Settings::setValue(QLatin1String(Settings::Key::vantleURL), request.address);
    }
    Keychain::save(request.key, QLatin1String(Keychain::desktopKeyAccount));
    app->workspaceDidChange();
    if (app->stage) {
        app->stage->appear(false);
    }
    greet(app);
}

QCoro::Task<> drain(QPointer<AppDelegate> app) {
    busy = true;
    while (!waiting.isEmpty() && app) {
        co_await handle(waiting.takeFirst(), app);
    }
    waiting.clear();
    busy = false;
}

} // namespace

QString shownAddress(const QUrl& address) {
    return QString::fromLatin1(address.toEncoded());
}

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
    if (!isAllowed(address) || waiting.size() >= longestQueue) {
        return;
    }
    waiting.append({address, key});
    if (!busy) {
        drain(QPointer<AppDelegate>(&app));
    }
}

} // namespace LinkCommands
