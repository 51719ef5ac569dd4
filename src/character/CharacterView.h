#pragma once

#include "capture/DropTarget.h"
#include "character/CharacterSheet.h"

#include <QPoint>
#include <QVariantAnimation>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QMimeData;

// The figure: one cell of the character's atlas, and the drop-zone cue around it (a soft glow,
// a dashed ring and a corner badge). It turns the mouse into window drags, double clicks and
// context-menu requests, and takes drops. What those mean is set by the stage through the
// closures; which cell shows is set by the player.
class CharacterView : public QWidget {
    Q_OBJECT
public:
    enum class DropZone { hidden, nearby, ready };

    explicit CharacterView(QWidget* parent = nullptr);

    std::shared_ptr<const CharacterSheet> sheet() const { return currentSheet; }
    void setSheet(std::shared_ptr<const CharacterSheet> sheet);
    // None: the figure is hidden.
    std::optional<int> cell() const { return currentCell; }
    void setCell(std::optional<int> cell);

    DropZone dropZone() const { return zone; }
    void setDropZone(DropZone state);

    // The overlays as they stand at this moment of their fades, and their running animations.
    double glowOpacity() const { return glowNow; }
    double ringOpacity() const { return ringNow; }
    double badgeOpacity() const { return badgeNow; }
    double ringWidth() const { return ringLineWidth; }
    bool isRingDashed() const { return ringDashed; }
    bool isMarching() const { return march.state() == QAbstractAnimation::Running; }
    bool isPulsing() const { return pulse.state() == QAbstractAnimation::Running; }
    // The badge's square, top right, 20 % of the width within 18 to 28 pixels.
    QRectF badgeRect() const;

    std::function<void()> onDoubleClick;
    std::function<void(QPoint globalPosition)> onContextMenu;
    std::function<void()> onDragEnded; // the window was moved by hand
    std::function<void()> onPoseChange;
    std::function<void(bool over)> onFilesOver;
    std::function<bool(const QMimeData* data)> onDrop;

    static QColor accent();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    struct DragStart {
        QPoint mouse;
        QPoint origin;
    };

    void fade(QVariantAnimation& overlay, double from, double to);
    void paintFigure(QPainter& painter);
    void paintRing(QPainter& painter);
    void paintBadge(QPainter& painter);

    std::shared_ptr<const CharacterSheet> currentSheet;
    std::optional<int> currentCell;
    DropZone zone = DropZone::hidden;
    std::optional<DragStart> dragStart;
    Capture::DropTarget drops;

    QVariantAnimation glow;
    QVariantAnimation ring;
    QVariantAnimation badge;
    QVariantAnimation march; // the ring's dash phase
    QVariantAnimation pulse; // the badge's scale
    double glowNow = 0;
    double ringNow = 0;
    double badgeNow = 0;
    double dashPhase = 0;
    double badgeScale = 1;
    double ringLineWidth = 2.0;
    bool ringDashed = true;
};
