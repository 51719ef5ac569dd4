#include "panels/DornReportPanel.h"

#include "panels/DornReportView.h"
#include "platform/Services.h"
#include "stage/BalloonSurface.h"
#include "stage/PanelPlacement.h"

#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>

namespace {
constexpr int panelWidth = DornReportView::columnWidth;
} // namespace

DornReportPanel::DornReportPanel(const DornReport& report, std::function<void()> openVantle,
                                 QWidget* figureWindow)
    : QWidget(figureWindow, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      figure(figureWindow) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setObjectName(QStringLiteral("DornReportPanel"));

    surface = new BalloonSurface(22, this);
    reportView = new DornReportView(report, surface);
    reportView->openVantle = std::move(openVantle);
    reportView->close = [this] {
        if (onClose) {
            onClose();
        }
    };
    auto* layout = new QVBoxLayout(surface);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(reportView);
    // Measured with the style's fonts and margins in place, as it will be shown.
    ensurePolished();
    contentHeight = reportView->naturalHeight();

    const QMargins room = BalloonSurface::shadowMargins();
    surface->setGeometry(
        QRect(QPoint(room.left(), room.top()), QSize(panelWidth, std::min(contentHeight, heightLimit))));
    resize(surface->geometry().marginsAdded(room).size());
    if (figure) {
        figureAt = figure->pos();
        figure->installEventFilter(this);
    }
}

bool DornReportPanel::eventFilter(QObject* watched, QEvent* event) {
    // Placed once, at opening; after that it keeps its place relative to the figure.
    if (watched == figure && event->type() == QEvent::Move) {
        const QPoint at = figure->pos();
        move(pos() + at - figureAt);
        figureAt = at;
    }
    return QWidget::eventFilter(watched, event);
}

void DornReportPanel::place(const QRect& beside, QScreen* on) {
    const QRect bounds = PanelPlacement::limit(beside, on);
    const int height = std::max(1, std::min({contentHeight, heightLimit, bounds.height() - 20}));
    const QSize size(panelWidth, height);
    const QPoint at = PanelPlacement::corner(beside, bounds, size);

    const QMargins room = BalloonSurface::shadowMargins();
    surface->setGeometry(QRect(QPoint(room.left(), room.top()), size));
    reportView->setScrolls(height < contentHeight);
    setGeometry(QRect(at, size).marginsAdded(room));
    update();
}

QRect DornReportPanel::reportFrame() const {
    return geometry().marginsRemoved(BalloonSurface::shadowMargins());
}

void DornReportPanel::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        event->accept();
        if (onClose) {
            onClose();
        }
        return;
    }
    QWidget::keyPressEvent(event);
}

void DornReportPanel::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (auto traits = platform::services().windowTraits; traits && !event->spontaneous()) {
        winId();
        traits->keepOffTaskbar(*windowHandle());
    }
}

void DornReportPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    BalloonSurface::paintShadow(painter, QRectF(surface->geometry()), surface->radius());
}
