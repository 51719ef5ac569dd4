#pragma once

#include "base/Scheduler.h"
#include "platform/Pointer.h"

#include <QPoint>
#include <QRect>
#include <QRegion>
#include <QVariantAnimation>
#include <QWidget>

#include <functional>
#include <optional>

// The transparent window in which the figure stands. The pointer passes through every
// transparent pixel to whatever lies behind and is caught only by the figure's own pixels: the
// window's input region is the visible pixels of the pose on show, so the window system itself
// sends each press to the right window at once. A watch of the pointer 15 times a second finds
// the hover, which makes the figure solid, and a file drag that began anywhere on the screen,
// which opens the whole window to the drop. Half transparent when nothing concerns it.
class QScreen;

class CharacterWindow : public QWidget {
    Q_OBJECT
public:
    explicit CharacterWindow(QWidget* parent = nullptr);

    // The figure's view, which fills the window.
    void setContentView(QWidget* view);

    void makeKeyAndOrderFront();
    void orderOut() { hide(); }

    // Sets the frame at once, or glides to it in the given seconds.
    void setFrame(const QRect& frame, double seconds = 0,
                  const QEasingCurve& curve = QEasingCurve::InOutQuad);
    const QVariantAnimation& frameAnimation() const { return glide; }

    // Places the window in the middle of its screen's free area; a window that has no size yet
    // is placed so once it gets one.
    void center();
    // Brings the window back onto a screen when less than a third of it lies on one: after the
    // user dragged it, when a stored frame is restored, and by itself when screens go or shrink.
    void keepOnScreen();
    // Persistent frames under a name in the settings: restore (false when none is stored or it
    // lies on no screen), and keep storing it on every change from now on.
    bool setFrameUsingName(const QString& name);
    void setFrameAutosaveName(const QString& name);

    // The figure took another pose: its visible pixels take the clicks now, and the hover is
    // tested again under a pointer that may not have moved.
    void poseDidChange();
    void updateAlpha();
    void updateAlphaSoon();
    // One watch of the pointer and the drag selection; the timer calls it 15 times a second.
    void look();

    // The part of the window that takes presses, in the window's own coordinates.
    QRegion inputRegion() const;
    bool isHovered() const { return hovered; }
    bool isFileDragActive() const { return fileDragActive; }
    double alphaTarget() const { return fade.endValue().toDouble(); }

    // Whether a visible pixel lies at this point of the window; none counts every point.
    std::function<bool(QPointF point)> hasPixel;
    // The visible pixels of the pose on show; none counts the whole window.
    std::function<QRegion()> figureRegion;
    std::function<void(bool active)> onFileDrag;

protected:
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void updateHover();
    void updateHover(const platform::Pointer::State& pointer);
    void noticeFileDrag();
    void updateInputRegion();
    void storeFrame();
    QRect screenArea() const;
    void watchScreen(QScreen* screen);

    struct Look {
        QPoint mouse;
        QRect frame;
    };

    QWidget* content = nullptr;
    bool hovered = false;
    bool fileDragActive = false;
    bool centerWhenSized = false;
    std::optional<int> dragBoardSeen;
    std::optional<Look> lastLook;
    QString autosaveName;
    QVariantAnimation fade;
    QVariantAnimation glide;
    base::Timer glance;
    base::Timer alphaSoon;
};
