#include "workspace/LinkCommands.h"

#include "app/AppDelegate.h"
#include "base/Clock.h"
#include "character/CharacterPlayer.h"
#include "stage/BalloonPanel.h"
#include "stage/BalloonView.h"
#include "stage/StageViewController.h"
#include "workspace/LinkGrammar.h"
#include "workspace/VantleClient.h"

#include <QGuiApplication>
#include <QLineEdit>
#include <QScreen>

#include <algorithm>
#include <cmath>

namespace LinkCommands {
namespace {

using LinkGrammar::Parameters;

constexpr double defaultNoticeSeconds = 10;
// Beyond the reach of a timer; a notice meant to last that long stays until it is closed.
constexpr double longestNoticeSeconds = 24 * 3600;
// Keeps a coordinate within what a window position can hold.
constexpr double farthest = 1e6;
// What of an unknown command the log takes: enough to recognise it, never a whole link.
constexpr qsizetype loggedLength = 80;

std::optional<QString> valueOf(const Parameters& parameters, const QString& key) {
    const auto found = parameters.constFind(key);
    return found == parameters.constEnd() ? std::nullopt : std::optional(*found);
}

// A parameter that isn't empty; none otherwise.
std::optional<QString> filled(const Parameters& parameters, const QString& key) {
    auto value = valueOf(parameters, key);
    return value && !value->isEmpty() ? value : std::nullopt;
}

// A finite number written out whole: no blanks around it, nothing after it.
std::optional<double> numberOf(const std::optional<QString>& text) {
    if (!text || text->trimmed() != *text) {
        return std::nullopt;
    }
    bool ok = false;
    const double number = text->toDouble(&ok);
    return ok && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

// The text of a log line: short, on one line.
QString printable(const QString& text) {
    QString out = text.left(loggedLength);
    std::replace_if(
        out.begin(), out.end(), [](QChar c) { return !c.isPrint(); }, QLatin1Char('?'));
    return text.size() > loggedLength ? out + QStringLiteral("…") : out;
}

void notify(StageViewController& stage, const QString& text, const Parameters& parameters) {
    double seconds = numberOf(valueOf(parameters, QStringLiteral("seconds"))).value_or(defaultNoticeSeconds);
    if (seconds <= 0 || seconds > longestNoticeSeconds) {
        seconds = 0;
    }
    const auto animation = valueOf(parameters, QStringLiteral("animation"));
    const auto link = valueOf(parameters, QStringLiteral("url"));
    const QUrl url = link ? QUrl(*link, QUrl::StrictMode) : QUrl();
    // The click goes through the stage's rule for outside links, like any notice's.
    if (link && !link->isEmpty() && url.isValid()) {
        stage.notify(text, animation, seconds, url);
    } else {
        stage.notify(text, animation, seconds, std::nullopt, std::nullopt, BalloonStatus::notice, nullptr);
    }
}

void ask(StageViewController& stage, const Parameters& parameters) {
    const auto question = parameters.contains(QStringLiteral("q"))
                              ? valueOf(parameters, QStringLiteral("q"))
                              : filled(parameters, QStringLiteral("text"));
    if (!question || question->isEmpty()) {
        return;
    }
    // Nothing from outside speaks for the user: the question waits in the field for Return.
    stage.openChat(true);
    if (VantleClient::isConfigured() && stage.balloonPanel && stage.balloonPanel->balloon().isInputShown()) {
        stage.balloonPanel->balloon().input()->setText(*question);
    }
}

void play(StageViewController& stage, const Parameters& parameters) {
    auto name = valueOf(parameters, QStringLiteral("animation"));
    if (!name) {
        name = valueOf(parameters, QStringLiteral("name"));
    }
    stage.appear(false);
    if (name) {
        stage.player().play({*name});
    } else {
        stage.player().playSomething();
    }
}

// x and y count down and to the right from the first screen's top left corner to the window's.
void move(StageViewController& stage, const Parameters& parameters) {
    const auto x = numberOf(valueOf(parameters, QStringLiteral("x")));
    const auto y = numberOf(valueOf(parameters, QStringLiteral("y")));
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!x || !y || !screen || !stage.window()) {
        return;
    }
    const QRect frame = screen->geometry();
    stage.appear(false);
    stage.move(QPoint(frame.x() + qRound(std::clamp(*x, -farthest, farthest)),
                      frame.y() + qRound(std::clamp(*y, -farthest, farthest))));
}

// Runs a command of the table; false when the table has none of that name.
bool runCommand(const QString& command, const Parameters& parameters, AppDelegate& app) {
    StageViewController& stage = *app.stage;
    const auto text = filled(parameters, QStringLiteral("text"));
    if (command == QLatin1String("show")) {
        stage.appear(false);
    } else if (command == QLatin1String("hide")) {
        if (auto* delegate = stage.player().delegate) {
            delegate->playerWantsToDisappear(stage.player());
        }
    } else if (command == QLatin1String("chat")) {
        stage.openChat(true);
    } else if (command == QLatin1String("connect")) {
        // Stored trimmed, a key of blanks would only take away the one stored.
        if (const auto key = filled(parameters, QStringLiteral("key")); key && !key->trimmed().isEmpty()) {
            connect(valueOf(parameters, QStringLiteral("url")), *key, app);
        }
    } else if (command == QLatin1String("say")) {
        if (text) {
            stage.say(*text, valueOf(parameters, QStringLiteral("animation")));
        }
    } else if (command == QLatin1String("notify")) {
        if (text) {
            notify(stage, *text, parameters);
        }
    } else if (command == QLatin1String("ask")) {
        ask(stage, parameters);
    } else if (command == QLatin1String("play") || command == QLatin1String("animate")) {
        play(stage, parameters);
    } else if (command == QLatin1String("report")) {
        app.generateReport(base::Clock::now().date());
    } else if (command == QLatin1String("agent")) {
        if (const auto name = valueOf(parameters, QStringLiteral("name"))) {
            stage.bringOn(name->toLower());
        }
    } else if (command == QLatin1String("move")) {
        move(stage, parameters);
    } else {
        return false;
    }
    return true;
}

} // namespace

void run(const QUrl& url, AppDelegate& app) {
    if (url.scheme().compare(QLatin1String("mirkvantle"), Qt::CaseInsensitive) != 0 || !app.stage) {
        return;
    }
    const QString command = LinkGrammar::command(url);
    if (!runCommand(command, LinkGrammar::parameters(url), app)) {
        qInfo().noquote() << QStringLiteral("Unknown mirkvantle:// command: ") + printable(command);
    }
}

} // namespace LinkCommands
