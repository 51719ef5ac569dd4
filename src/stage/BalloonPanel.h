#pragma once

#include <QPointer>
#include <QRect>
#include <QWidget>

#include <functional>
#include <optional>

class BalloonView;
class QScreen;

// The floating window that carries the balloon beside the figure. It shows without taking
// the keyboard from the user's application, and becomes the active window only when asked to,
// for typing. It stays above the figure's window and follows it when the figure is dragged.
class BalloonPanel : public QWidget {
    Q_OBJECT
public:
    // figure: the window the balloon speaks for (the CharacterWindow), or none.
    explicit BalloonPanel(QWidget* figure = nullptr);

    BalloonView& balloon() const { return *view; }

    // Called when the panel becomes the active window, and when it stops being it.
    std::function<void()> onBecomeKey;
    std::function<void()> onResignKey;
    // The panel is the active window, or has asked to be and not been left since.
    bool isKey() const { return isActiveWindow() || keyAsked; }

    // Sizes the balloon to its content and puts it beside the frame: on the side towards the
    // middle of the screen, its top 36 pixels above the line 30% down the frame, and within the
    // screen's free area (the top edge wins). With no screen, anywhere near the frame.
    // Done again by itself when the content changes and when the figure moves.
    void place(const QRect& beside, QScreen* on);
    // The balloon's own rectangle on the screen: the panel less the room of its shadow.
    QRect balloonFrame() const;

    // Shows the panel without taking the keyboard.
    void orderFront();
    // Shows the panel and makes it the active window.
    void makeKeyAndOrderFront();
    void orderOut() {
        keyAsked = false;
        hide();
    }

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void updateFigureAlpha();
    // Only the card and the input bar take clicks; the clear strips around and between them
    // pass them to what lies behind.
    void updateInputRegion();

    BalloonView* view = nullptr;
    QPointer<QWidget> figure;
    std::optional<QRect> placedBeside;
    QPointer<QScreen> placedOn;
    bool keyAsked = false;
};
