#include "character/CharacterWindow.h"

#include <QApplication>

#include "app/Settings.h"
#include "capture/Capture.h"
#include "platform/Services.h"

#include <QGuiApplication>
#include <QMoveEvent>
#include <QResizeEvent>
#include <QScreen>
#include <QShowEvent>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace {

constexpr int fadeMs = 150;

} // namespace

CharacterWindow::CharacterWindow(QWidget* parent)
    : QWidget(parent, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::Tool) {
    setAttribute(Qt::WA_TranslucentBackground);
    // No size until the first character gives it one.
    resize(0, 0);
    setWindowOpacity(0.5);
    fade.setDuration(fadeMs);
    fade.setStartValue(0.5);
    fade.setEndValue(0.5);
    connect(&fade, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { setWindowOpacity(value.toDouble()); });
    connect(&glide, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { setGeometry(value.toRect()); });

    for (QScreen* display : QGuiApplication::screens()) {
        watchScreen(display);
    }
    connect(qApp, &QGuiApplication::screenAdded, this, &CharacterWindow::watchScreen);
    // Queued: Qt moves windows off a removed screen only after telling of it.
    connect(qApp, &QGuiApplication::screenRemoved, this, &CharacterWindow::keepOnScreen,
            Qt::QueuedConnection);

    // Without a way to read the pointer there is no hover to find; the input region still sends
    // each press where it belongs.
    if (platform::services().pointer) {
        glance = base::Scheduler::current().every(1.0 / 15.0, [this] { look(); });
    }
}

void CharacterWindow::setContentView(QWidget* view) {
    content = view;
    view->setParent(this);
    view->setGeometry(rect());
    view->show();
}

void CharacterWindow::makeKeyAndOrderFront() {
    show();
    raise();
    activateWindow();
}

void CharacterWindow::setFrame(const QRect& frame, double seconds, const QEasingCurve& curve) {
    QRect target = frame;
    if (centerWhenSized && !frame.isEmpty()) {
        target.moveCenter(screenArea().center());
        centerWhenSized = false;
    }
    glide.stop();
    if (seconds <= 0 || target == geometry()) {
        setGeometry(target);
        return;
    }
    glide.setStartValue(geometry());
    glide.setEndValue(target);
    glide.setDuration(static_cast<int>(std::lround(seconds * 1000.0)));
    glide.setEasingCurve(curve);
    glide.start();
}

QRect CharacterWindow::screenArea() const {
    const QScreen* display = screen() ? screen() : QGuiApplication::primaryScreen();
    return display ? display->availableGeometry() : QRect();
}

void CharacterWindow::center() {
    if (width() <= 0 || height() <= 0) {
        centerWhenSized = true;
        return;
    }
    QRect frame = geometry();
    frame.moveCenter(screenArea().center());
    setGeometry(frame);
}

void CharacterWindow::watchScreen(QScreen* display) {
    connect(display, &QScreen::availableGeometryChanged, this, &CharacterWindow::keepOnScreen,
            Qt::QueuedConnection);
}

void CharacterWindow::keepOnScreen() {
    const QRect frame = geometry();
    if (frame.isEmpty() || glide.state() == QAbstractAnimation::Running) {
        return;
    }
    const auto areaOf = [](const QRect& r) { return static_cast<qint64>(r.width()) * r.height(); };
    const QScreen* nearest = nullptr;
    qint64 nearestDistance = 0;
    for (const QScreen* display : QGuiApplication::screens()) {
        const QRect area = display->availableGeometry();
        if (3 * areaOf(area.intersected(frame)) >= areaOf(frame)) {
            return;
        }
        const QPoint apart = frame.center() - area.center();
        const qint64 distance =
            static_cast<qint64>(apart.x()) * apart.x() + static_cast<qint64>(apart.y()) * apart.y();
        if (!nearest || distance < nearestDistance) {
            nearest = display;
            nearestDistance = distance;
        }
    }
    if (!nearest) {
        return;
    }
    // Wholly onto the nearest screen, moved no further than that takes.
    const QRect area = nearest->availableGeometry();
    QRect placed = frame;
    placed.moveLeft(
        std::clamp(frame.left(), area.left(), std::max(area.left(), area.right() - frame.width() + 1)));
    placed.moveTop(
        std::clamp(frame.top(), area.top(), std::max(area.top(), area.bottom() - frame.height() + 1)));
    setGeometry(placed);
}

bool CharacterWindow::setFrameUsingName(const QString& name) {
    const QRect frame = Settings::value(name).toRect();
    if (!frame.isValid()) {
        return false;
    }
    bool onScreen = false;
    for (const auto* display : QGuiApplication::screens()) {
        onScreen = onScreen || display->availableGeometry().intersects(frame);
    }
    if (!onScreen) {
        return false;
    }
    centerWhenSized = false;
    setGeometry(frame);
    // A frame kept from a larger or another screen may show too little of the figure now.
    keepOnScreen();
    return true;
}

void CharacterWindow::setFrameAutosaveName(const QString& name) {
    autosaveName = name;
    storeFrame();
}

void CharacterWindow::storeFrame() {
    if (!autosaveName.isEmpty() && width() > 0 && height() > 0) {
        Settings::setValue(autosaveName, geometry());
    }
}

void CharacterWindow::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    storeFrame();
}

void CharacterWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (content) {
        content->setGeometry(rect());
    }
    updateInputRegion();
    storeFrame();
}

void CharacterWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (auto traits = platform::services().windowTraits; traits && !event->spontaneous()) {
        winId();
        traits->keepOffTaskbar(*windowHandle());
        updateInputRegion();
    }
}

void CharacterWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() != QEvent::ActivationChange) {
        return;
    }
    if (isActiveWindow()) {
        updateAlpha();
    } else {
        updateAlphaSoon();
    }
}

void CharacterWindow::look() {
    if (!isVisible()) {
        return;
    }
    const auto pointer = platform::services().pointer;
    if (!pointer) {
        return;
    }
    const auto state = pointer->state();
    // No hover test while a button is held: it may be a drag, ours or another program's.
    if (state.buttons != Qt::NoButton) {
        noticeFileDrag();
        return;
    }
    if (fileDragActive) {
        fileDragActive = false;
        updateInputRegion();
        lastLook.reset();
        updateHover(state);
        updateAlpha();
        if (onFileDrag) {
            onFileDrag(false);
        }
    }
    if (const auto board = platform::services().dragBoard) {
        dragBoardSeen = board->changeCount();
    }
    if (!lastLook || lastLook->mouse != state.position || lastLook->frame != geometry()) {
        updateHover(state);
    }
}

void CharacterWindow::noticeFileDrag() {
    if (fileDragActive) {
        return;
    }
    const auto board = platform::services().dragBoard;
    if (!board) {
        return;
    }
    const int count = board->changeCount();
    // A drag already under way when the window first looks is not news.
    if (!dragBoardSeen) {
        dragBoardSeen = count;
    }
    if (count == *dragBoardSeen) {
        return;
    }
    // The source may name its types only later in the drag: until then each look asks again.
    if (!Capture::kind(board->types())) {
        return;
    }
    dragBoardSeen = count;
    fileDragActive = true;
    // The whole window takes the drop, transparent pixels too.
    updateInputRegion();
    updateAlpha();
    if (onFileDrag) {
        onFileDrag(true);
    }
}

void CharacterWindow::poseDidChange() {
    updateInputRegion();
    updateHover();
}

void CharacterWindow::updateHover() {
    if (const auto pointer = platform::services().pointer) {
        updateHover(pointer->state());
    }
}

void CharacterWindow::updateHover(const platform::Pointer::State& pointer) {
    if (!isVisible() || fileDragActive || pointer.buttons != Qt::NoButton) {
        return;
    }
    lastLook = Look{pointer.position, geometry()};
    bool over = geometry().contains(pointer.position);
    if (over && hasPixel) {
        // The middle of the screen pixel under the pointer.
        over = hasPixel(QPointF(mapFromGlobal(pointer.position)) + QPointF(0.5, 0.5));
    }
    if (hovered != over) {
        hovered = over;
        updateAlpha();
    }
}

QRegion CharacterWindow::inputRegion() const {
    if (fileDragActive || !figureRegion) {
        return QRegion(rect());
    }
    return figureRegion();
}

void CharacterWindow::updateInputRegion() {
    const auto traits = platform::services().windowTraits;
    if (traits && windowHandle() && isVisible()) {
        traits->setInputRegion(*windowHandle(), inputRegion());
    }
}

void CharacterWindow::updateAlpha() {
    // The figure is solid while the user deals with it or with its balloon.
    const QWidget* active = QApplication::activeWindow();
    const bool balloonActive = active && active->parentWidget() == this;
    const double target = isActiveWindow() || balloonActive || hovered || fileDragActive ? 1.0 : 0.5;
    if (fade.endValue().toDouble() == target) {
        return;
    }
    fade.stop();
    fade.setStartValue(windowOpacity());
    fade.setEndValue(target);
    fade.start();
}

void CharacterWindow::updateAlphaSoon() {
    alphaSoon = base::Scheduler::current().after(0, [this] { updateAlpha(); });
}
