#pragma once

#include "panels/DornReport.h"

#include <QPointer>
#include <QWidget>

#include <functional>

class BalloonSurface;
class DornReportView;
class QScreen;

// The floating panel that shows Dorn's board report beside the figure. It stays above the
// figure's window and moves with it; it takes the keyboard only when the user clicks into it.
class DornReportPanel : public QWidget {
    Q_OBJECT
public:
    DornReportPanel(const DornReport& report, std::function<void()> openVantle, QWidget* figure = nullptr);

    // What closing means; the stage sets it. The close button and Esc call it.
    std::function<void()> onClose;
    // The height the report wants, measured once.
    int contentHeight = 0;

    static constexpr int heightLimit = 560;

    // Puts the report beside the frame, towards the larger part of the screen, and within the
    // screen's free area. With no screen, anywhere near the frame.
    void place(const QRect& beside, QScreen* on);
    // The report's own rectangle on the screen: the panel less the room of its shadow.
    QRect reportFrame() const;

    void orderOut() { hide(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    DornReportView* reportView = nullptr;
    BalloonSurface* surface = nullptr;
    QPointer<QWidget> figure;
    QPoint figureAt;
};
