// The yardstick for the figure's costs: the least a Qt program can do to show the same thing.
// A frameless, translucent, always-on-top window of the given size showing one image, polling
// the pointer 15 times a second; with --switch it also changes its picture 10 times a second.
//
//   bare-window [size] [--switch]

#include <QApplication>
#include <QCursor>
#include <QPainter>
#include <QTimer>
#include <QWidget>

#include <cstring>

namespace {

class BareWindow : public QWidget {
public:
    explicit BareWindow(int size)
        : QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::Tool) {
        setAttribute(Qt::WA_TranslucentBackground);
        setWindowTitle("bare");
        resize(size, size);
        for (int i = 0; i < 2; ++i) {
            QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter p(&image);
            p.setBrush(i == 0 ? QColor(200, 40, 40) : QColor(40, 40, 200));
            p.setPen(Qt::NoPen);
            p.drawEllipse(QRectF(size * 0.2, size * 0.1, size * 0.6, size * 0.8));
            cells[i] = image;
        }
    }
    void next() {
        shown = 1 - shown;
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setCompositionMode(QPainter::CompositionMode_Source);
        p.drawImage(0, 0, cells[shown]);
    }

private:
    QImage cells[2];
    int shown = 0;
};

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    int size = 120;
    bool switching = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--switch") == 0) {
            switching = true;
        } else {
            size = std::atoi(argv[i]);
        }
    }
    BareWindow window(size);
    window.show();

    QPoint last;
    QTimer poll;
    poll.setTimerType(Qt::CoarseTimer);
    QObject::connect(&poll, &QTimer::timeout, [&] { last = QCursor::pos(); });
    poll.start(1000 / 15);

    QTimer cells;
    QObject::connect(&cells, &QTimer::timeout, [&] { window.next(); });
    if (switching) {
        cells.start(100);
    }
    return QApplication::exec();
}
