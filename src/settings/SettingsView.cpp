#include "settings/SettingsView.h"

#include "app/AppEvents.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/Text.h"
#include "platform/LinkAction.h"
#include "settings/NoteLabel.h"
#include "settings/SettingsModel.h"
#include "workspace/VantleClient.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QTimeEdit>
#include <QVBoxLayout>

namespace {

// A note with a button at the end of its row.
QWidget* noteRow(QLabel* text, QPushButton* button, QWidget* parent) {
    auto* row = new QWidget(parent);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(text, 1);
    layout->addWidget(button, 0, Qt::AlignTop);
    return row;
}

// A row of a label and its field; the label's text comes with the language.
void labelled(QFormLayout* rows, QWidget* field) {
    auto* label = new QLabel(field->parentWidget());
    label->setBuddy(field);
    rows->addRow(label, field);
}

// What the activity record sees of this desktop's windows, and the one step that lets it see more.
QString sightText(const platform::Sight& sight) {
    using Cause = platform::Sight::Cause;
    using Reach = platform::Sight::Reach;
    const auto pick = base::pick;
    if (sight.reach == Reach::allWindows) {
        return pick(QStringLiteral("The record sees every window on this desktop."),
                    QStringLiteral("Salvestis näeb kõiki selle töölaua aknaid."));
    }
    if (sight.reach == Reach::x11Windows) {
        return pick(QStringLiteral("The record sees only X11 windows: this Wayland desktop tells no other "
                                   "program which of its own windows is in front."),
                    QStringLiteral("Salvestis näeb ainult X11 aknaid: see Waylandi töölaud ei ütle ühelegi "
                                   "teisele programmile, milline tema enda akendest on ees."));
    }
    switch (sight.cause) {
    case Cause::extensionOff:
        return pick(QStringLiteral("The record sees no windows until the program's GNOME Shell extension "
                                   "is turned on."),
                    QStringLiteral("Salvestis ei näe ühtegi akent, kuni programmi GNOME Shelli laiendus "
                                   "on sisse lülitatud."));
    case Cause::extensionMissing:
        return pick(
            QStringLiteral("The record sees no windows: GNOME Shell has not loaded the program's "
                           "extension. Log out and in again once after installing the program."),
            QStringLiteral("Salvestis ei näe ühtegi akent: GNOME Shell pole programmi laiendust "
                           "laadinud. Logi pärast programmi paigaldamist korra välja ja uuesti sisse."));
    case Cause::kwinRefused:
        return pick(
            QStringLiteral("The record sees no windows: KWin did not run the program's window script."),
            QStringLiteral("Salvestis ei näe ühtegi akent: KWin ei käivitanud programmi aknaskripti."));
    case Cause::compositorGone:
        return pick(QStringLiteral("The record sees no windows: the connection to the desktop was lost. "
                                   "Start the program again."),
                    QStringLiteral("Salvestis ei näe ühtegi akent: ühendus töölauaga katkes. Käivita "
                                   "programm uuesti."));
    case Cause::none:
    case Cause::compositorSilent:
        break;
    }
    return pick(QStringLiteral("The record sees no windows on this desktop."),
                QStringLiteral("Salvestis ei näe selle töölaua aknaid."));
}

// Which means holds the shortcuts on this desktop, and the one step that makes them work
// everywhere where they do not.
QString shortcutsText(platform::HotKeyGrabber::Reach reach) {
    using Reach = platform::HotKeyGrabber::Reach;
    const auto pick = base::pick;
    switch (reach) {
    case Reach::everyWindow:
        return pick(QStringLiteral("The shortcuts work whatever window has the keyboard."),
                    QStringLiteral("Kiirklahvid töötavad, ükskõik milline aken klaviatuuri käes on."));
    case Reach::shellExtension:
        return pick(QStringLiteral("The shortcuts come from the program's GNOME Shell extension, in whose "
                                   "settings their keys can be changed."),
                    QStringLiteral("Kiirklahvid tulevad programmi GNOME Shelli laiendusest, mille seadetes "
                                   "saab nende klahve muuta."));
    case Reach::portal:
        return pick(QStringLiteral("The shortcuts come from the desktop's global shortcuts portal, which "
                                   "may let you change their keys."),
                    QStringLiteral("Kiirklahvid tulevad töölaua globaalsete kiirklahvide portaalist, mis "
                                   "võib lasta nende klahve muuta."));
    case Reach::kdeService:
        return pick(QStringLiteral("The shortcuts are KDE global shortcuts; their keys can be changed in "
                                   "the system settings, under Shortcuts."),
                    QStringLiteral("Kiirklahvid on KDE globaalsed kiirklahvid; nende klahve saab muuta "
                                   "süsteemi seadetes, jaotises Kiirklahvid."));
    case Reach::ended:
        return pick(QStringLiteral("The desktop has ended the program's shortcuts; they work again once the "
                                   "program is started again."),
                    QStringLiteral("Töölaud on programmi kiirklahvid lõpetanud; need töötavad jälle, kui "
                                   "programm uuesti käivitada."));
    case Reach::none:
        return pick(QStringLiteral("Nothing on this desktop lets the program hold its shortcuts. To have "
                                   "them, add these lines to the compositor's configuration:"),
                    QStringLiteral("Miski selles töölauas ei lase programmil kiirklahve hoida. Et need "
                                   "töötaksid, lisa komposiitori seadistusse need read:"));
    case Reach::x11Windows:
        break;
    }
    return pick(
        QStringLiteral("This desktop lets the program hear its shortcuts only while an X11 window has "
                       "the keyboard. To have them everywhere, add these lines to the compositor's "
                       "configuration:"),
        QStringLiteral("See töölaud laseb programmil oma kiirklahve kuulda ainult siis, kui klaviatuur "
                       "on mõne X11 akna käes. Et need töötaksid kõikjal, lisa komposiitori seadistusse "
                       "need read:"));
}

void setLabel(QFormLayout* rows, QWidget* field, const QString& text) {
    if (auto* label = qobject_cast<QLabel*>(rows->labelForField(field))) {
        label->setText(text);
    }
}

} // namespace

SettingsView::SettingsView(SettingsModel& m, QWidget* parent) : QWidget(parent, Qt::Window), model(m) {
    // The rows scroll where a screen is too short for them all.
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    scroller = new QScrollArea(this);
    scroller->setFrameShape(QFrame::NoFrame);
    scroller->setWidgetResizable(true);
    scroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    outer->addWidget(scroller);
    content = new QWidget;
    auto* page = new QVBoxLayout(content);

    vantleRows = section(vantleBox);
    workspace = new QLineEdit(this);
    workspace->setPlaceholderText(Settings::defaultWorkspaceURL().toString());
    labelled(vantleRows, workspace);
    key = new QLineEdit(this);
    key->setEchoMode(QLineEdit::Password);
    labelled(vantleRows, key);
    connection = new NoteLabel(this);
    getKey = new QPushButton(this);
    vantleRows->addRow(noteRow(connection, getKey, this));
    keyNote = new NoteLabel(this);
    vantleRows->addRow(keyNote);
    notifications = new QCheckBox(this);
    vantleRows->addRow(notifications);

    reportRows = section(reportBox);
    recordActivity = new QCheckBox(this);
    reportRows->addRow(recordActivity);
    windowTitles = new QCheckBox(this);
    reportRows->addRow(windowTitles);
    desktopNote = new NoteLabel(this);
    turnOnSource = new QPushButton(this);
    shortcutsNote = new NoteLabel(this);
    copyLines = new QPushButton(this);
    compositorLines = new QLabel(SettingsModel::compositorLines(), this);
    compositorLines->setTextFormat(Qt::PlainText);
    compositorLines->setTextInteractionFlags(Qt::TextSelectableByMouse);
    compositorLines->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    desktopRow = new QWidget(this);
    auto* desktopLines = new QVBoxLayout(desktopRow);
    desktopLines->setContentsMargins(0, 0, 0, 0);
    desktopLines->addWidget(noteRow(desktopNote, turnOnSource, desktopRow));
    desktopLines->addWidget(noteRow(shortcutsNote, copyLines, desktopRow));
    desktopLines->addWidget(compositorLines);
    labelled(reportRows, desktopRow);
    reportTime = new QTimeEdit(this);
    reportTime->setDisplayFormat(QStringLiteral("HH:mm"));
    labelled(reportRows, reportTime);
    reportModel = new QComboBox(this);
    labelled(reportRows, reportModel);
    ollamaAddress = new QLineEdit(this);
    ollamaAddress->setPlaceholderText(Settings::defaultOllamaURL().toString());
    labelled(reportRows, ollamaAddress);
    ollamaLine = new NoteLabel(this);
    refreshModels = new QPushButton(this);
    reportRows->addRow(noteRow(ollamaLine, refreshModels, this));
    reportNote = new NoteLabel(this);
    reportRows->addRow(reportNote);
    excludedApps = new QPlainTextEdit(this);
    excludedApps->setTabChangesFocus(true);
    excludedApps->setFixedHeight(excludedApps->fontMetrics().lineSpacing() * 3 + 12);
    labelled(reportRows, excludedApps);
    excludedNote = new NoteLabel(this);
    reportRows->addRow(excludedNote);
    auto* reportButtons = new QWidget(this);
    auto* buttonsLayout = new QHBoxLayout(reportButtons);
    buttonsLayout->setContentsMargins(0, 0, 0, 0);
    writeReport = new QPushButton(reportButtons);
    openReports = new QPushButton(reportButtons);
    buttonsLayout->addWidget(writeReport);
    buttonsLayout->addWidget(openReports);
    buttonsLayout->addStretch();
    reportRows->addRow(reportButtons);

    assistantRows = section(assistantBox);
    scale = new QComboBox(this);
    scale->addItem(QString(), 1.0);
    scale->addItem(QString(), 2.0);
    labelled(assistantRows, scale);
    idleAnimations = new QCheckBox(this);
    assistantRows->addRow(idleAnimations);
    speakAnswers = new QCheckBox(this);
    assistantRows->addRow(speakAnswers);

    generalRows = section(generalBox);
    language = new QComboBox(this);
    language->addItem(QString(), QString());
    language->addItem(QStringLiteral("English"), QStringLiteral("en"));
    language->addItem(QStringLiteral("Eesti"), QStringLiteral("et"));
    labelled(generalRows, language);
    launchAtLogin = new QCheckBox(this);
    generalRows->addRow(launchAtLogin);
    launchError = new NoteLabel(this);
    launchError->setForegroundRole(QPalette::NoRole);
    launchError->setStyleSheet(QStringLiteral("color: #d70015;"));
    generalRows->addRow(launchError);
    shortcutNote = new NoteLabel(this);
    generalRows->addRow(shortcutNote);

    for (auto* box : {vantleBox, reportBox, assistantBox, generalBox}) {
        page->addWidget(box);
    }
    page->addStretch();
    scroller->setWidget(content);
    setFixedWidth(formWidth);

    bindFields();
    bindChecks();
    connect(&model, &SettingsModel::changed, this, &SettingsView::showModel);
    connect(&AppEvents::shared(), &AppEvents::languageDidChange, this, [this] {
        retranslate();
        // The status lines were written in the old language.
        model.refresh();
    });
    retranslate();
}

QString SettingsView::title() {
    return base::pick(QStringLiteral("Mirk Vantle Agents Settings"),
                      QStringLiteral("Mirk Vantle Agents seaded"));
}

SettingsView::~SettingsView() {
    // A field that loses the focus as it goes says it finished editing; nobody is left to hear it.
    for (auto* child : findChildren<QWidget*>()) {
        child->disconnect(this);
    }
}

QFormLayout* SettingsView::section(QGroupBox*& box) {
    box = new QGroupBox(this);
    auto* rows = new QFormLayout(box);
    rows->setRowWrapPolicy(QFormLayout::DontWrapRows);
    rows->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    return rows;
}

void SettingsView::bindFields() {
    connect(workspace, &QLineEdit::editingFinished, this, [this] {
        const QString text = workspace->text().trimmed();
        if (text == Settings::stringValue(QLatin1String(Settings::Key::vantleURL))) {
            return;
        }
        Settings::setValue(QLatin1String(Settings::Key::vantleURL), text);
        model.workspaceSubmitted();
    });
    connect(key, &QLineEdit::textEdited, this, [this](const QString& text) { model.setVantleKey(text); });
    connect(getKey, &QPushButton::clicked, this, [] {
        if (const auto url = VantleClient::dashboardURL(QStringLiteral("/settings"))) {
            platform::openLink(*url);
        }
    });
    connect(reportTime, &QTimeEdit::timeChanged, this, [this](const QTime& time) {
        if (!showing) {
            model.setReportTime(time);
        }
    });
    connect(reportModel, &QComboBox::activated, this, [this](int index) {
        Settings::setValue(QLatin1String(Settings::Key::reportModel),
                           reportModel->itemData(index).toString());
    });
    connect(ollamaAddress, &QLineEdit::editingFinished, this, [this] {
        const QString text = ollamaAddress->text().trimmed();
        if (text == Settings::stringValue(QLatin1String(Settings::Key::ollamaURL))) {
            return;
        }
        Settings::setValue(QLatin1String(Settings::Key::ollamaURL), text);
        model.loadOllamaModels();
    });
    connect(refreshModels, &QPushButton::clicked, &model, &SettingsModel::loadOllamaModels);
    connect(excludedApps, &QPlainTextEdit::textChanged, this, [this] {
        if (showing) {
            return;
        }
        QStringList classes;
        for (const auto& line : excludedApps->toPlainText().split(QLatin1Char('\n'))) {
            if (const QString name = line.trimmed(); !name.isEmpty() && !classes.contains(name)) {
                classes << name;
            }
        }
        Settings::setValue(QLatin1String(Settings::Key::excludedApps), classes);
    });
    connect(writeReport, &QPushButton::clicked, this,
            [this] { emit AppEvents::shared().reportRequested(base::Clock::now().date()); });
    connect(openReports, &QPushButton::clicked, this,
            [this] { emit AppEvents::shared().reportsFolderRequested(); });
    connect(scale, &QComboBox::activated, this, [this](int index) {
        Settings::setValue(QLatin1String(Settings::Key::scale), scale->itemData(index).toDouble());
        emit AppEvents::shared().settingsDidChange();
    });
    connect(language, &QComboBox::activated, this, [this](int index) {
        Settings::setValue(QLatin1String(Settings::Key::language), language->itemData(index).toString());
        emit AppEvents::shared().languageDidChange();
    });
}

void SettingsView::bindChecks() {
    const auto bind = [this](QCheckBox* box, const char* settingKey) {
        connect(box, &QCheckBox::toggled, this, [this, settingKey](bool on) {
            if (!showing) {
                Settings::setValue(QLatin1String(settingKey), on);
                showModel();
            }
        });
    };
    bind(notifications, Settings::Key::notifications);
    bind(recordActivity, Settings::Key::recordActivity);
    bind(idleAnimations, Settings::Key::idleAnimations);
    bind(speakAnswers, Settings::Key::speakAnswers);
    connect(windowTitles, &QCheckBox::toggled, this, [this](bool on) {
        if (!showing) {
            model.setRecordWindowTitles(on);
        }
    });
    connect(turnOnSource, &QPushButton::clicked, this, [this] { model.turnOnWindowSource(); });
    connect(copyLines, &QPushButton::clicked, this,
            [] { QGuiApplication::clipboard()->setText(SettingsModel::compositorLines()); });
    connect(launchAtLogin, &QCheckBox::toggled, this, [this](bool on) {
        if (!showing) {
            model.setLaunchAtLogin(on);
        }
    });
}

void SettingsView::retranslate() {
    const auto pick = base::pick;
    vantleBox->setTitle(QStringLiteral("Vantle"));
    setLabel(vantleRows, workspace, pick(QStringLiteral("Workspace"), QStringLiteral("Tööruum")));
    setLabel(vantleRows, key, pick(QStringLiteral("Desktop key"), QStringLiteral("Töölaua võti")));
    getKey->setText(pick(QStringLiteral("Get a key…"), QStringLiteral("Hangi võti…")));
    notifications->setText(
        pick(QStringLiteral("Show Vantle notifications"), QStringLiteral("Näita Vantle teavitusi")));

    reportBox->setTitle(pick(QStringLiteral("Daily report"), QStringLiteral("Päeva aruanne")));
    recordActivity->setText(
        pick(QStringLiteral("Record which apps I use (stays on this computer)"),
             QStringLiteral("Salvesta, milliseid rakendusi kasutan (jääb sellesse arvutisse)")));
    windowTitles->setText(
        pick(QStringLiteral("Include window titles"), QStringLiteral("Kaasa akende pealkirjad")));
    setLabel(reportRows, desktopRow, pick(QStringLiteral("This desktop"), QStringLiteral("See töölaud")));
    turnOnSource->setText(pick(QStringLiteral("Turn On"), QStringLiteral("Lülita sisse")));
    copyLines->setText(pick(QStringLiteral("Copy"), QStringLiteral("Kopeeri")));
    setLabel(reportRows, reportTime,
             pick(QStringLiteral("Write the report at"), QStringLiteral("Kirjuta aruanne kell")));
    setLabel(reportRows, reportModel, pick(QStringLiteral("Report model"), QStringLiteral("Aruande mudel")));
    setLabel(reportRows, ollamaAddress,
             pick(QStringLiteral("Ollama address"), QStringLiteral("Ollama aadress")));
    refreshModels->setText(pick(QStringLiteral("Refresh"), QStringLiteral("Värskenda")));
    reportNote->setText(
        pick(QStringLiteral("Reports are written by Ollama on this computer and never sent to Vantle. "
                            "Activity logs are kept for 30 days."),
             QStringLiteral("Aruanded kirjutab Ollama selles arvutis ja neid ei saadeta kunagi "
                            "Vantlesse. Tegevuslogisid hoitakse 30 päeva.")));
    setLabel(reportRows, excludedApps, pick(QStringLiteral("Leave out"), QStringLiteral("Jäta välja")));
    excludedNote->setText(
        pick(QStringLiteral("Apps that are never recorded: their window classes, one per line, "
                            "such as firefox."),
             QStringLiteral("Rakendused, mida ei salvestata kunagi: nende aknaklassid, üks rea "
                            "kohta, näiteks firefox.")));
    writeReport->setText(
        pick(QStringLiteral("Write Today's Report"), QStringLiteral("Kirjuta tänane aruanne")));
    openReports->setText(pick(QStringLiteral("Open Reports Folder"), QStringLiteral("Ava aruannete kaust")));

    assistantBox->setTitle(pick(QStringLiteral("Assistant"), QStringLiteral("Assistent")));
    setLabel(assistantRows, scale, pick(QStringLiteral("Size"), QStringLiteral("Suurus")));
    scale->setItemText(0, pick(QStringLiteral("Original"), QStringLiteral("Algne")));
    scale->setItemText(1, pick(QStringLiteral("Double"), QStringLiteral("Kahekordne")));
    idleAnimations->setText(
        pick(QStringLiteral("Idle animations"), QStringLiteral("Animatsioonid jõudeajal")));
    speakAnswers->setText(pick(QStringLiteral("Speak answers aloud"), QStringLiteral("Loe vastused ette")));

    generalBox->setTitle(pick(QStringLiteral("General"), QStringLiteral("Üldine")));
    setLabel(generalRows, language, pick(QStringLiteral("Language"), QStringLiteral("Keel")));
    language->setItemText(0, SettingsModel::automaticLanguageLabel());
    launchAtLogin->setText(pick(QStringLiteral("Launch at login"), QStringLiteral("Käivita sisselogimisel")));
    shortcutNote->setText(pick(QStringLiteral("Summon the chat anywhere with Ctrl+Alt+Space."),
                               QStringLiteral("Ava vestlus kõikjal klahvidega Ctrl+Alt+Space.")));
    setWindowTitle(title());
    showModel();
}

void SettingsView::showModel() {
    showing = true;
    const auto pick = base::pick;
    if (!workspace->hasFocus()) {
        workspace->setText(Settings::stringValue(QLatin1String(Settings::Key::vantleURL)));
    }
    if (key->text() != model.vantleKey) {
        key->setText(model.vantleKey);
    }
    connection->setText(model.vantleStatus);
    keyNote->setText(
        SettingsModel::keyInKeyring()
            ? pick(QStringLiteral(
                       "In Vantle: Personal settings → Signed-in devices → Connect desktop app. The key is "
                       "kept in your keyring and opens only chat, notifications, adding files and deciding "
                       "approvals sent to you. Remove the desktop app from that list to disconnect it."),
                   QStringLiteral(
                       "Vantles: Isiklikud seaded → Sisse logitud seadmed → Ühenda töölaua agendid. Võti "
                       "hoitakse sinu võtmehoidlas ja see avab ainult vestluse, teavitused, failide lisamise "
                       "ja sulle saadetud kinnituste otsustamise. Ühenduse katkestamiseks eemalda "
                       "töölauarakendus sellest loendist."))
            : pick(QStringLiteral(
                       "In Vantle: Personal settings → Signed-in devices → Connect desktop app. No keyring "
                       "answers on this computer, so the key is kept in a file that only you can read. It "
                       "opens only chat, notifications, adding files and deciding approvals sent to you. "
                       "Remove the desktop app from that list to disconnect it."),
                   QStringLiteral(
                       "Vantles: Isiklikud seaded → Sisse logitud seadmed → Ühenda töölaua agendid. Selles "
                       "arvutis ei vasta ükski võtmehoidla, seega hoitakse võtit failis, mida saad lugeda "
                       "ainult sina. See avab ainult vestluse, teavitused, failide lisamise ja sulle "
                       "saadetud kinnituste otsustamise. Ühenduse katkestamiseks eemalda töölauarakendus "
                       "sellest loendist.")));
    notifications->setChecked(Settings::boolValue(QLatin1String(Settings::Key::notifications)));

    const bool recording = Settings::boolValue(QLatin1String(Settings::Key::recordActivity));
    recordActivity->setChecked(recording);
    windowTitles->setChecked(model.recordWindowTitles);
    windowTitles->setEnabled(recording);
    desktopNote->setText(sightText(model.sight));
    turnOnSource->setVisible(model.sight.cause == platform::Sight::Cause::extensionOff);
    shortcutsNote->setText(shortcutsText(model.shortcutReach));
    const bool needsLines = model.shortcutReach == platform::HotKeyGrabber::Reach::x11Windows ||
                            model.shortcutReach == platform::HotKeyGrabber::Reach::none;
    copyLines->setVisible(needsLines);
    compositorLines->setVisible(needsLines);
    if (!reportTime->hasFocus()) {
        reportTime->setTime(model.reportTime);
    }
    const QString stored = Settings::stringValue(QLatin1String(Settings::Key::reportModel));
    reportModel->clear();
    reportModel->addItem(
        pick(QStringLiteral("First installed model"), QStringLiteral("Esimene paigaldatud mudel")),
        QString());
    for (const auto& name : SettingsModel::reportModelChoices(model.ollamaModels, stored)) {
        reportModel->addItem(name, name);
    }
    reportModel->setCurrentIndex(std::max(0, reportModel->findData(stored)));
    if (!ollamaAddress->hasFocus()) {
        ollamaAddress->setText(Settings::stringValue(QLatin1String(Settings::Key::ollamaURL)));
    }
    ollamaLine->setText(model.ollamaStatus);
    if (!excludedApps->hasFocus()) {
        excludedApps->setPlainText(
            Settings::stringListValue(QLatin1String(Settings::Key::excludedApps)).join('\n'));
    }

    scale->setCurrentIndex(Settings::doubleValue(QLatin1String(Settings::Key::scale)) >= 1.5 ? 1 : 0);
    idleAnimations->setChecked(Settings::boolValue(QLatin1String(Settings::Key::idleAnimations)));
    speakAnswers->setChecked(Settings::boolValue(QLatin1String(Settings::Key::speakAnswers)));
    language->setItemText(0, SettingsModel::automaticLanguageLabel());
    language->setCurrentIndex(
        std::max(0, language->findData(Settings::stringValue(QLatin1String(Settings::Key::language)))));
    launchAtLogin->setChecked(model.launchAtLogin);
    launchError->setText(model.launchAtLoginError.value_or(QString()));
    launchError->setVisible(model.launchAtLoginError.has_value());
    showing = false;
    fitHeight();
}

void SettingsView::fitHeight() {
    // Lines come and go and wrap anew: the window takes the height its rows need now, up to the
    // screen's.
    int needed = content->heightForWidth(formWidth);
    if (needed < 0) {
        needed = content->sizeHint().height();
    }
    const QRect area = screen() ? screen()->availableGeometry() : QRect(0, 0, formWidth, needed);
    resize(formWidth, std::min(needed, area.height() - 120));
    // Grown past the bottom of the screen: up, so that all of it shows.
    const QRect frame = frameGeometry();
    if (isVisible() && frame.bottom() > area.bottom()) {
        move(x(), std::max(area.top(), y() - (frame.bottom() - area.bottom())));
    }
}

void SettingsView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    model.refresh();
    // Without a key, the key is what the user came for.
    if (key->text().isEmpty()) {
        key->setFocus(Qt::OtherFocusReason);
    }
}

void SettingsView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void SettingsView::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    if (isVisible()) {
        Settings::setValue(QStringLiteral("SettingsWindow"), saveGeometry());
    }
}
