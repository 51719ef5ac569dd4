#pragma once

#include "base/Scheduler.h"
#include "platform/Pointer.h"

#include <QPoint>
#include <QRect>
#include <QVariantAnimation>
#include <QWidget>

#include <functional>
#include <optional>

// The transparent window in which the figure stands. The pointer passes through every
// transparent pixel to whatever lies behind and is caught only by the figure's own pixels: the
// window watches the pointer 15 times a second, asks whether a visible pixel lies under it, and
// switches its click-through by itself. The same watch finds a file drag that began anywhere on
// the screen. Half transparent when nothing concerns it, solid otherwise.
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
    // Persistent frames under a name in the settings: restore (false when none is stored or it
    // lies on no screen), and keep storing it on every change from now on.
    bool setFrameUsingName(const QString& name);
    void setFrameAutosaveName(const QString& name);

    // Runs the hover test now; also called by the stage when the pose changes.
    void updateHover();
    void updateAlpha();
    void updateAlphaSoon();
    // One watch of the pointer and the drag selection; the timer calls it 15 times a second.
    void look();

    bool ignoresMouseEvents() const { return ignoresMouse; }
    bool isHovered() const { return hovered; }
    bool isFileDragActive() const { return fileDragActive; }
    double alphaTarget() const { return fade.endValue().toDouble(); }

    // Whether a visible pixel lies at this point of the window; none counts every point.
    std::function<bool(QPointF point)> hasPixel;
    std::function<void(bool active)> onFileDrag;

protected:
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void updateHover(const platform::Pointer::State& pointer);
    void noticeFileDrag();
    void setIgnoresMouseEvents(bool ignore);
    void storeFrame();
    QRect screenArea() const;

    struct Look {
        QPoint mouse;
        QRect frame;
    };

    QWidget* content = nullptr;
    bool hovered = false;
    bool fileDragActive = false;
    bool ignoresMouse = true;
    bool centerWhenSized = false;
    std::optional<int> dragBoardSeen;
    std::optional<Look> lastLook;
    QString autosaveName;
    QVariantAnimation fade;
    QVariantAnimation glide;
    base::Timer glance;
    base::Timer alphaSoon;
};
