#pragma once

#include <QDBusMessage>
#include <QList>
#include <QProcess>
#include <QString>

#include <memory>

// Drives the headless desktop that desktop-session.sh started: opens other programs' windows,
// brings one to the front, and gives input, each through the desktop's own means.
class DesktopDriver {
public:
    DesktopDriver();
    ~DesktopDriver();

    // "sway", "kde" or "gnome".
    static QString desktop();

    // Opens a window of another program and waits until it is shown: a native Wayland window with
    // that app id, or an X window whose class is the app id with a capital first letter.
    void openWindow(const QString& appID, const QString& title, bool native);
    // Asks the desktop to bring the window whose app id or class is this (in any case) to the
    // front; a window that the desktop does not know yet stays where it is.
    void focus(const QString& appID);
    // Input as if the user pressed a key.
    void input();
    // Presses the keys (X keysym names, as "Control_L") in order through a virtual keyboard of
    // GNOME Shell, holds them for holdMs and lets them go in reverse order.
    void pressInShell(const QStringList& keys, int holdMs = 0);
    // Evaluates script in the desktop's shell (GNOME Shell, KWin); its result as text.
    QString evaluate(const QString& script);
    // Presses Ctrl+Alt and the key (an X keysym name) through the compositor's virtual keyboard
    // (sway).
    void pressThroughCompositor(const QString& key);
    // Has sway carry out a command of its configuration; true when it took it.
    bool swayCommand(const QString& command);
    // Gives keys to the desktop's X server as xdotool does with these arguments ("keydown",
    // "ctrl+alt+space"), which reaches the X clients that grab them.
    void pressOnX(const QStringList& arguments);
    // Gives the desktop's X server a whole US keyboard again: the desktop hands it the keymap of
    // the keyboard last typed on, which for a test's virtual keyboard holds only the keys it typed.
    void resetXKeyboard();
    // Calls the stand-in for the desktop's side of the shortcuts portal (portal-backend.py).
    QDBusMessage portal(const QString& method, const QVariantList& arguments = {});
    // Calls KDE's global shortcut service at path.
    QDBusMessage shortcutService(const QString& path, const QString& method,
                                 const QVariantList& arguments = {});

private:
    std::vector<std::unique_ptr<QProcess>> windows;
};
