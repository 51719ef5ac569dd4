#include "stage/BalloonPanel.h"

#include "character/CharacterWindow.h"
#include "platform/Services.h"
#include "stage/BalloonSurface.h"
#include "stage/BalloonView.h"
#include "stage/PanelPlacement.h"

#include <QKeyEvent>
#include <QPainter>
#include <QRegion>
#include <QScreen>
#include <QWindow>

#include <algorithm>

namespace {

// How tall the balloon may grow on a screen of this free area: most of it, so that a long
// answer scrolls inside the balloon before the balloon covers the whole screen.
int heightLimit(const QRect& bounds) {
    return std::min(bounds.height(), std::max(240, bounds.height() * 4 / 5));
}

} // namespace

BalloonPanel::BalloonPanel(QWidget* figureWindow)
    : QWidget(figureWindow, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      figure(figureWindow) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    view = new BalloonView(this);
    const QMargins room = BalloonSurface::shadowMargins();
    view->move(room.left(), room.top());
    if (figure) {
        figure->installEventFilter(this);
    }
}

void BalloonPanel::place(const QRect& beside, QScreen* on) {
    placedBeside = beside;
    placedOn = on;
    const QRect bounds = PanelPlacement::limit(beside, on);
    const QSize size = view->fittingSize(heightLimit(bounds));
    const QPoint at = PanelPlacement::corner(beside, bounds, size);

    const QMargins room = BalloonSurface::shadowMargins();
    view->setGeometry(QRect(QPoint(room.left(), room.top()), size));
    setGeometry(QRect(at, size).marginsAdded(room));
    updateInputRegion();
    update();
}

void BalloonPanel::updateInputRegion() {
    const auto traits = platform::services().windowTraits;
    if (!traits || !windowHandle()) {
        return;
    }
    QRegion region;
    for (const BalloonSurface* surface : {view->card(), view->inputSurface()}) {
        if (!surface->isHidden()) {
            region += surface->geometry().translated(view->pos());
        }
    }
    traits->setInputRegion(*windowHandle(), region);
}

QRect BalloonPanel::balloonFrame() const {
    return geometry().marginsRemoved(BalloonSurface::shadowMargins());
}

void BalloonPanel::orderFront() {
    show();
    raise();
}

void BalloonPanel::makeKeyAndOrderFront() {
    // The window system activates it a moment later; until then it counts as active.
    keyAsked = true;
    show();
    raise();
    activateWindow();
}

bool BalloonPanel::event(QEvent* event) {
    // The balloon's content changed its size: fit it again where it stands.
    if (event->type() == QEvent::LayoutRequest && placedBeside && isVisible()) {
        place(*placedBeside, placedOn);
    }
    return QWidget::event(event);
}

bool BalloonPanel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == figure && placedBeside && isVisible() &&
        (event->type() == QEvent::Move || event->type() == QEvent::Resize)) {
        place(figure->geometry(), figure->screen());
    }
    return QWidget::eventFilter(watched, event);
}

void BalloonPanel::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() != QEvent::ActivationChange) {
        return;
    }
    if (isActiveWindow()) {
        if (onBecomeKey) {
            onBecomeKey();
        }
    } else {
        keyAsked = false;
        if (onResignKey) {
            onResignKey();
        }
    }
    updateFigureAlpha();
}

void BalloonPanel::updateFigureAlpha() {
    if (auto* window = qobject_cast<CharacterWindow*>(figure.data())) {
        window->updateAlphaSoon();
    }
}

void BalloonPanel::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (auto traits = platform::services().windowTraits; traits && !event->spontaneous()) {
        winId();
        traits->keepOffTaskbar(*windowHandle());
        updateInputRegion();
    }
}

void BalloonPanel::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        view->cancelOperation();
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

void BalloonPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    for (const BalloonSurface* surface : {view->card(), view->inputSurface()}) {
        if (!surface->isHidden()) {
            const QRectF shape = QRectF(surface->geometry()).translated(view->pos());
            BalloonSurface::paintShadow(painter, shape, surface->radius());
        }
    }
}
