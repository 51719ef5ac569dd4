#pragma once

#include <QWidget>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QScrollArea;
class QTimeEdit;
class SettingsModel;

// The one settings form: four sections of rows, each control bound to its setting or to the
// model. Texts are built in the language of the moment and built again when it changes.
class SettingsView : public QWidget {
    Q_OBJECT
public:
    static constexpr int formWidth = 460;

    explicit SettingsView(SettingsModel& model, QWidget* parent = nullptr);
    ~SettingsView() override;

    // The window's title in the language in force.
    static QString title();

    // Every text anew, in the language in force.
    void retranslate();
    // Every control from the stored values and the model.
    void showModel();
    // The height the rows need, within the screen.
    void fitHeight();

    // The controls, in the order of the rows; tests reach them by name as well.
    QLineEdit* workspace;
    QLineEdit* key;
    QLabel* connection;
    QPushButton* getKey;
    QLabel* keyNote;
    QCheckBox* notifications;
    QCheckBox* recordActivity;
    QCheckBox* windowTitles;
    QWidget* desktopRow;
    QLabel* desktopNote;
    QPushButton* turnOnSource;
    QLabel* shortcutsNote;
    QLabel* compositorLines;
    QPushButton* copyLines;
    QTimeEdit* reportTime;
    QComboBox* reportModel;
    QLineEdit* ollamaAddress;
    QLabel* ollamaLine;
    QPushButton* refreshModels;
    QLabel* reportNote;
    QPlainTextEdit* excludedApps;
    QLabel* excludedNote;
    QPushButton* writeReport;
    QPushButton* openReports;
    QComboBox* scale;
    QCheckBox* idleAnimations;
    QCheckBox* speakAnswers;
    QComboBox* language;
    QCheckBox* launchAtLogin;
    QLabel* launchError;
    QLabel* shortcutNote;

protected:
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void moveEvent(QMoveEvent* event) override;

private:
    QFormLayout* section(QGroupBox*& box);
    void bindChecks();
    void bindFields();

    SettingsModel& model;
    QScrollArea* scroller = nullptr;
    QWidget* content = nullptr;
    QGroupBox* vantleBox = nullptr;
    QGroupBox* reportBox = nullptr;
    QGroupBox* assistantBox = nullptr;
    QGroupBox* generalBox = nullptr;
    QFormLayout* vantleRows = nullptr;
    QFormLayout* reportRows = nullptr;
    QFormLayout* assistantRows = nullptr;
    QFormLayout* generalRows = nullptr;
    // Set while controls are filled from the model, so that filling them writes nothing back.
    bool showing = false;
};
