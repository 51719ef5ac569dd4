#include "settings/SettingsView.h"
#include "activity/ActivityRecorder.h"
#include "app/AppDelegate.h"
#include "app/AppEvents.h"
#include "app/Settings.h"
#include "base/VirtualScheduler.h"
#include "character/CharacterWindow.h"
#include "platform/fake/FakeServices.h"
#include "settings/SettingsModel.h"
#include "stage/BalloonPanel.h"
#include "stage/BalloonView.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QTimeEdit>

#include <QClipboard>
#include <QGuiApplication>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// Every text of the form, row by row: section titles, row labels, the controls' own texts and
// the notes that show.
QStringList texts(const SettingsView& view) {
    QStringList out;
    QSet<const QWidget*> seen;
    for (const auto* box : view.findChildren<QGroupBox*>()) {
        out << "# " + box->title();
        const auto* rows = qobject_cast<const QFormLayout*>(box->layout());
        for (int row = 0; row < rows->rowCount(); ++row) {
            for (const auto role :
                 {QFormLayout::LabelRole, QFormLayout::FieldRole, QFormLayout::SpanningRole}) {
                const auto* item = rows->itemAt(row, role);
                QWidget* widget = item ? item->widget() : nullptr;
                if (!widget || widget->isHidden()) {
                    continue;
                }
                QList<QWidget*> parts{widget};
                parts += widget->findChildren<QWidget*>();
                for (auto* part : parts) {
                    if (part->isHidden() || seen.contains(part)) {
                        continue;
                    }
                    seen.insert(part);
                    if (auto* label = qobject_cast<QLabel*>(part); label && !label->text().isEmpty()) {
                        out << label->text();
                    } else if (auto* button = qobject_cast<QAbstractButton*>(part)) {
                        out << "[" + button->text() + "]";
                    } else if (auto* combo = qobject_cast<QComboBox*>(part)) {
                        QStringList entries;
                        for (int i = 0; i < combo->count(); ++i) {
                            entries << combo->itemText(i);
                        }
                        out << "{" + entries.join("|") + "}";
                    }
                }
            }
        }
    }
    return out;
}

std::string lines(const QStringList& list) {
    return list.join('\n').toStdString();
}

class SettingsViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::freshSettings();
        // Nobody answers at either address, so the lines settle at once.
        Settings::setValue(QLatin1String(Settings::Key::vantleURL), "http://127.0.0.1:1/app");
        Settings::setValue(QLatin1String(Settings::Key::ollamaURL), "http://127.0.0.1:1");
        Settings::setValue(QLatin1String(Settings::Key::language), "en");
        services.secretStore->where = platform::SecretStore::Location::file;
    }
    void TearDown() override {
        emit ActivityRecorder::shared().canSeeApplicationsChanged(true);
        app.reset();
    }
    SettingsView& open() {
        app->openSettings();
        auto* view = qobject_cast<SettingsView*>(app->settingsWindow.data());
        EXPECT_TRUE(view);
        EXPECT_TRUE(QTest::qWaitForWindowExposed(view));
        spinUntil(
            [&] {
                return view->ollamaLine->text() != "Checking…" && view->ollamaLine->text() != "Kontrollin…";
            },
            6000);
        return *view;
    }
    static void save(QWidget& window, const QString& name) {
        QDir().mkpath(MIRK_ARTEFACTS_DIR);
        window.grab().save(QString(MIRK_ARTEFACTS_DIR) + "/" + name);
    }

    platform::fake::FakeServices services;
    base::VirtualScheduler scheduler;
    std::unique_ptr<AppDelegate> app = std::make_unique<AppDelegate>();
};

// The relative luminance of a colour on screen, and the contrast of text in a colour, with its
// alpha, on a ground, as WCAG counts them.
double luminance(const QColor& c) {
    const auto linear = [](double v) {
        return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
}
double contrast(const QColor& ink, const QColor& ground) {
    const double a = ink.alphaF();
    const auto mix = [a](double top, double under) { return static_cast<float>(top * a + under * (1 - a)); };
    const QColor shown = QColor::fromRgbF(mix(ink.redF(), ground.redF()), mix(ink.greenF(), ground.greenF()),
                                          mix(ink.blueF(), ground.blueF()));
    const double la = luminance(shown);
    const double lb = luminance(ground);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

// How many separate marks "Ü" has above those of "U" in this font: its two dots, or one blot
// where they run together.
int dotsOfUmlaut(const QFont& font) {
    const auto draw = [&font](const QString& letter) {
        QImage image(64, 64, QImage::Format_Grayscale8);
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.setFont(font);
        painter.setPen(Qt::black);
        painter.drawText(QRect(0, 0, 64, 64), Qt::AlignCenter, letter);
        return image;
    };
    const QImage with = draw(QStringLiteral("Ü"));
    const QImage without = draw(QStringLiteral("U"));
    int marks = 0;
    bool inMark = false;
    for (int x = 0; x < with.width(); ++x) {
        bool ink = false;
        for (int y = 0; y < with.height(); ++y) {
            ink = ink || (qGray(with.pixel(x, y)) < 160 && qGray(without.pixel(x, y)) > 200);
        }
        marks += ink && !inMark ? 1 : 0;
        inMark = ink;
    }
    return marks;
}

} // namespace

TEST_F(SettingsViewTest, EveryRowInBothLanguagesAndTheFormRedrawsWhenTheLanguageChanges) {
    SettingsView& view = open();
    EXPECT_EQ(view.windowTitle(), "Mirk Vantle Agents Settings");
    EXPECT_EQ(view.width(), SettingsView::formWidth);
    EXPECT_EQ(view.key->echoMode(), QLineEdit::Password);
    QStringList english = texts(view);
    const QString ollamaLine = view.ollamaLine->text();
    english.removeAll(ollamaLine);
    EXPECT_EQ(
        lines(english),
        lines(QStringList{
            "# Vantle",
            "Workspace",
            "Desktop key",
            "Not connected.",
            "[Get a key…]",
            "In Vantle: Personal settings → Signed-in devices → Connect desktop app. No keyring answers on "
            "this computer, so the key is kept in a file that only you can read. It opens only chat, "
            "notifications, adding files and deciding approvals sent to you. Remove the desktop app from "
            "that list to disconnect it.",
            "[Show Vantle notifications]",
            "# Daily report",
            "[Record which apps I use (stays on this computer)]",
            "[Include window titles]",
            "This desktop",
            "The record sees every window on this desktop.",
            "The shortcuts work whatever window has the keyboard.",
            "Write the report at",
            "Report model",
            "{First installed model}",
            "Ollama address",
            "[Refresh]",
            "Reports are written by Ollama on this computer and never sent to Vantle. Activity logs are "
            "kept for 30 days.",
            "Leave out",
            "Apps that are never recorded: their window classes, one per line, such as firefox.",
            "[Write Today's Report]",
            "[Open Reports Folder]",
            "# Assistant",
            "Size",
            "{Original|Double}",
            "[Idle animations]",
            "[Speak answers aloud]",
            "# General",
            "Language",
            "{Same as Vantle|English|Eesti}",
            "[Launch at login]",
            "Summon the chat anywhere with Ctrl+Alt+Space."}));
    EXPECT_FALSE(ollamaLine.startsWith("Running")) << "nobody answers there";
    EXPECT_EQ(view.reportTime->time(), QTime(17, 30));
    save(view, "settings-en.png");

    // Estonian, picked in the form itself; the workspace's language shows in brackets.
    Settings::setValue(QLatin1String(Settings::Key::workspaceLanguage), "et");
    view.language->setCurrentIndex(2);
    emit view.language->activated(2);
    EXPECT_EQ(Settings::stringValue(QLatin1String(Settings::Key::language)), "et");
    EXPECT_EQ(view.windowTitle(), "Mirk Vantle Agents seaded");
    spinUntil([&] { return view.ollamaLine->text() != "Kontrollin…"; }, 6000);
    QStringList estonian = texts(view);
    estonian.removeAll(view.ollamaLine->text());
    EXPECT_EQ(
        estonian,
        (QStringList{
            "# Vantle",
            "Tööruum",
            "Töölaua võti",
            "Pole ühendatud.",
            "[Hangi võti…]",
            "Vantles: Isiklikud seaded → Sisse logitud seadmed → Ühenda töölaua agendid. Selles arvutis "
            "ei vasta ükski võtmehoidla, seega hoitakse võtit failis, mida saad lugeda ainult sina. See "
            "avab ainult vestluse, teavitused, failide lisamise ja sulle saadetud kinnituste "
            "otsustamise. Ühenduse katkestamiseks eemalda töölauarakendus sellest loendist.",
            "[Näita Vantle teavitusi]",
            "# Päeva aruanne",
            "[Salvesta, milliseid rakendusi kasutan (jääb sellesse arvutisse)]",
            "[Kaasa akende pealkirjad]",
            "See töölaud",
            "Salvestis näeb kõiki selle töölaua aknaid.",
            "Kiirklahvid töötavad, ükskõik milline aken klaviatuuri käes on.",
            "Kirjuta aruanne kell",
            "Aruande mudel",
            "{Esimene paigaldatud mudel}",
            "Ollama aadress",
            "[Värskenda]",
            "Aruanded kirjutab Ollama selles arvutis ja neid ei saadeta kunagi Vantlesse. "
            "Tegevuslogisid hoitakse 30 päeva.",
            "Jäta välja",
            "Rakendused, mida ei salvestata kunagi: nende aknaklassid, üks rea kohta, näiteks firefox.",
            "[Kirjuta tänane aruanne]",
            "[Ava aruannete kaust]",
            "# Assistent",
            "Suurus",
            "{Algne|Kahekordne}",
            "[Animatsioonid jõudeajal]",
            "[Loe vastused ette]",
            "# Üldine",
            "Keel",
            "{Sama mis Vantles (Eesti)|English|Eesti}",
            "[Käivita sisselogimisel]",
            "Ava vestlus kõikjal klahvidega Ctrl+Alt+Space."}));
    save(view, "settings-et.png");
}

TEST_F(SettingsViewTest, NotesReadWellAndKeepTheDotsOfTheirLetters) {
    Settings::setValue(QLatin1String(Settings::Key::language), "et");
    SettingsView& view = open();
    const QColor ground = view.palette().color(QPalette::Window);
    int notes = 0;
    for (auto* note :
         {view.connection, view.keyNote, view.reportNote, view.excludedNote, view.shortcutNote}) {
        ++notes;
        EXPECT_FALSE(note->text().isEmpty());
        EXPECT_GE(QFontInfo(note->font()).pixelSize(), 12) << note->text().toStdString();
        EXPECT_LE(note->font().pointSizeF(), view.font().pointSizeF()) << "no larger than the rows";
        EXPECT_EQ(dotsOfUmlaut(note->font()), 2) << note->text().toStdString();
        const QColor ink = note->palette().color(note->foregroundRole());
        EXPECT_GE(contrast(ink, ground), 4.5) << note->text().toStdString();
        EXPECT_NE(ink, note->palette().color(QPalette::WindowText)) << "still softer than the rows";
    }
    EXPECT_EQ(notes, 5);
    // The form has made room for the longer line that came with the answer from Ollama.
    ASSERT_TRUE(spinUntil([&] {
        return view.ollamaLine->height() >= view.ollamaLine->heightForWidth(view.ollamaLine->width());
    }));
    save(view, "settings-notes-et.png");
}

TEST_F(SettingsViewTest, ControlsWriteTheirSettingsAndTheWindowComesBackWhereItWasLeft) {
    SettingsView& view = open();
    int sizeChanges = 0;
    QObject::connect(&AppEvents::shared(), &AppEvents::settingsDidChange, &view, [&] { ++sizeChanges; });
    view.scale->setCurrentIndex(1);
    emit view.scale->activated(1);
    EXPECT_EQ(Settings::doubleValue(QLatin1String(Settings::Key::scale)), 2.0);
    EXPECT_EQ(sizeChanges, 1);
    view.speakAnswers->click();
    EXPECT_TRUE(Settings::boolValue(QLatin1String(Settings::Key::speakAnswers)));
    view.excludedApps->setPlainText(" firefox \n\nXTerm\nfirefox\n");
    EXPECT_EQ(Settings::stringListValue(QLatin1String(Settings::Key::excludedApps)),
              (QStringList{"firefox", "XTerm"}));
    view.reportTime->setTime(QTime(8, 5));
    EXPECT_EQ(Settings::intValue(QLatin1String(Settings::Key::reportMinutes)), 485);

    // The desktop's row says what the record sees, and offers the one step where there is one.
    view.windowTitles->click();
    EXPECT_TRUE(Settings::boolValue(QLatin1String(Settings::Key::recordWindowTitles)));
    EXPECT_EQ(view.desktopNote->text(), "The record sees every window on this desktop.");
    EXPECT_TRUE(view.turnOnSource->isHidden());
    using platform::Sight;
    services.activeWindow->seen = {Sight::Reach::nothing, Sight::Cause::extensionOff};
    emit ActivityRecorder::shared().sightChanged();
    EXPECT_EQ(view.desktopNote->text(),
              "The record sees no windows until the program's GNOME Shell extension is turned on.");
    ASSERT_FALSE(view.turnOnSource->isHidden());
    view.turnOnSource->click();
    EXPECT_EQ(services.activeWindow->turnOns, 1);
    services.activeWindow->seen = {Sight::Reach::x11Windows, Sight::Cause::compositorSilent};
    Settings::setValue(QLatin1String(Settings::Key::language), "et");
    emit ActivityRecorder::shared().sightChanged();
    view.retranslate();
    EXPECT_EQ(view.desktopNote->text(),
              "Salvestis näeb ainult X11 aknaid: see Waylandi töölaud ei ütle ühelegi "
              "teisele programmile, milline tema enda akendest on ees.");
    EXPECT_TRUE(view.turnOnSource->isHidden());
    Settings::setValue(QLatin1String(Settings::Key::language), "en");

    // Where no program can take the keys, the lines for the compositor's configuration, ready to copy.
    EXPECT_TRUE(view.compositorLines->isHidden());
    services.hotKeys->heard = platform::HotKeyGrabber::Reach::x11Windows;
    emit ActivityRecorder::shared().sightChanged();
    ASSERT_FALSE(view.copyLines->isHidden());
    EXPECT_FALSE(view.compositorLines->isHidden());
    view.copyLines->click();
    const QStringList copied = QGuiApplication::clipboard()->text().split('\n');
    ASSERT_EQ(copied.size(), 5);
    EXPECT_EQ(copied[0], "bindsym Ctrl+Alt+space exec xdg-open mirkvantle:chat");
    EXPECT_EQ(copied[2], "bindsym Ctrl+Alt+2 exec xdg-open 'mirkvantle:agent?name=lirra'");
    // The row names the means that holds the shortcuts; the lines stand only where none holds them
    // everywhere.
    using Reach = platform::HotKeyGrabber::Reach;
    const std::pair<Reach, QString> means[] = {
        {Reach::portal, "The shortcuts come from the desktop's global shortcuts portal"},
        {Reach::kdeService, "The shortcuts are KDE global shortcuts"},
        {Reach::ended, "The desktop has ended the program's shortcuts"},
        {Reach::none, "Nothing on this desktop lets the program hold its shortcuts"},
    };
    for (const auto& [reach, text] : means) {
        services.hotKeys->heard = reach;
        services.hotKeys->onReachChanged();
        EXPECT_TRUE(view.shortcutsNote->text().startsWith(text)) << view.shortcutsNote->text().toStdString();
        EXPECT_EQ(view.compositorLines->isHidden(), reach != Reach::none) << text.toStdString();
    }
    services.hotKeys->heard = Reach::kdeService;
    Settings::setValue(QLatin1String(Settings::Key::language), "et");
    emit ActivityRecorder::shared().sightChanged();
    view.retranslate();
    EXPECT_EQ(view.shortcutsNote->text(),
              "Kiirklahvid on KDE globaalsed kiirklahvid; nende klahve saab muuta "
              "süsteemi seadetes, jaotises Kiirklahvid.");
    Settings::setValue(QLatin1String(Settings::Key::language), "en");
    view.recordActivity->click();
    EXPECT_FALSE(view.windowTitles->isEnabled());
    EXPECT_TRUE(view.windowTitles->isChecked()) << "greyed, and keeps its value";

    // A refused launch at login springs back, with the reason in red.
    services.autostart->refusal = QStringLiteral("Couldn't write the entry: Read-only file system");
    view.launchAtLogin->click();
    EXPECT_FALSE(view.launchAtLogin->isChecked());
    EXPECT_FALSE(view.launchError->isHidden());
    EXPECT_EQ(view.launchError->text(), "Couldn't write the entry: Read-only file system");
    services.autostart->refusal.reset();
    view.launchAtLogin->click();
    EXPECT_TRUE(services.autostart->enabled);
    EXPECT_TRUE(view.launchError->isHidden());

    // Escape closes; the next opening is the same window, where the user left it.
    view.move(view.pos() + QPoint(40, 0));
    spinFor(100);
    const QPoint place = view.pos();
    QTest::keyClick(&view, Qt::Key_Escape);
    EXPECT_FALSE(view.isVisible());
    SettingsView& again = open();
    EXPECT_EQ(&again, &view);
    EXPECT_EQ(again.pos(), place);
    // And in the next run, from the stored place.
    app.reset();
    app = std::make_unique<AppDelegate>();
    SettingsView& next = open();
    EXPECT_EQ(next.pos(), place);
}

TEST_F(SettingsViewTest, TheWindowOpensBesideTheFigureNeverUnderIt) {
    // The figure in the middle of the screen, where the window would open the first time.
    CharacterWindow figure;
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    figure.setGeometry(QRect(area.center() - QPoint(60, 60), QSize(120, 120)));
    figure.show();
    app->window = &figure;
    SettingsView& view = open();
    // Nor under a balloon that a notice opens beside the figure meanwhile, however tall it grows.
    BalloonPanel balloon(&figure);
    const auto clearOfFigureAndBalloon = [&] {
        balloon.balloon().showMessage(QString("A notice that runs long. ").repeated(60), false, std::nullopt,
                                      false, BalloonStatus::notice);
        balloon.place(figure.frameGeometry(), figure.screen());
        EXPECT_FALSE(view.frameGeometry().intersects(figure.frameGeometry()));
        EXPECT_FALSE(view.frameGeometry().intersects(balloon.geometry()));
        EXPECT_TRUE(area.contains(view.frameGeometry()));
    };
    clearOfFigureAndBalloon();

    // Closed, and the figure walked over to where it stood: opened again, it moves aside.
    view.close();
    figure.move(view.frameGeometry().topLeft() + QPoint(20, 20));
    open();
    clearOfFigureAndBalloon();
    // With no room on the far side, beyond the balloon.
    view.close();
    figure.move(area.right() - figure.width() - 10, figure.y());
    open();
    clearOfFigureAndBalloon();
    app->window = nullptr;
}
