#include "time/TrayArtwork.h"

#include <QPainter>
#include <QPixmap>

#include <algorithm>
#include <vector>

namespace TrayArtwork {
namespace {

constexpr QRgb rim = qRgba(24, 24, 27, 235);
constexpr QRgb idleFill = qRgb(246, 246, 248);
constexpr QRgb runningFill = qRgb(52, 199, 89);
constexpr QRgb badgeFill = qRgb(230, 40, 40);

// The count of waiting notices in a round badge over the lower right of the figure.
void paintBadge(QImage& out, int waiting) {
    const int size = out.width();
    const int side = std::max(9, size * 3 / 5);
    const QRectF badge(size - side, size - side, side, side);
    QPainter painter(&out);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor::fromRgba(rim), std::max(1.0, size / 24.0)));
    painter.setBrush(QColor::fromRgb(badgeFill));
    painter.drawEllipse(badge.adjusted(0.5, 0.5, -0.5, -0.5));
    QFont font = painter.font();
    font.setBold(true);
    font.setPixelSize(std::max(7, side * 3 / 4));
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(badge, Qt::AlignCenter, waiting > 9 ? QStringLiteral("9+") : QString::number(waiting));
}

// Which pixels the figure covers, at the given side, with one pixel left free all round for the
// rim. Scaled by taking the nearest source pixel, so that edges stay straight and sharp at
// every size instead of blurring or fraying.
std::vector<bool> coverage(int size) {
    const int inner = size - 2;
    // Decoded once for all the sizes of both forms.
    static const QImage small(QStringLiteral(":/tray/MenuBarIcon.png"));
    static const QImage large(QStringLiteral(":/tray/MenuBarIcon@2x.png"));
    const QImage& source = inner <= 22 ? small : large;
    std::vector<bool> covered(static_cast<std::size_t>(size * size), false);
    if (source.isNull() || inner <= 0) {
        return covered;
    }
    const QImage scaled = source.convertToFormat(QImage::Format_ARGB32)
                              .scaled(inner, inner, Qt::KeepAspectRatio, Qt::FastTransformation);
    const int left = 1 + (inner - scaled.width()) / 2;
    const int top = 1 + (inner - scaled.height()) / 2;
    for (int y = 0; y < scaled.height(); ++y) {
        for (int x = 0; x < scaled.width(); ++x) {
            if (qAlpha(scaled.pixel(x, y)) >= 128) {
                covered[static_cast<std::size_t>((top + y) * size + left + x)] = true;
            }
        }
    }
    return covered;
}

} // namespace

QImage image(int size, bool running, int waiting) {
    QImage out(size, size, QImage::Format_ARGB32);
    out.fill(Qt::transparent);
    const auto covered = coverage(size);
    const auto at = [&](int x, int y) {
        return x >= 0 && y >= 0 && x < size && y < size && covered[static_cast<std::size_t>(y * size + x)];
    };
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            if (at(x, y)) {
                out.setPixel(x, y, running ? runningFill : idleFill);
                continue;
            }
            // The rim: every free pixel that touches the figure, corners included.
            bool touches = false;
            for (int dy = -1; dy <= 1 && !touches; ++dy) {
                for (int dx = -1; dx <= 1 && !touches; ++dx) {
                    touches = at(x + dx, y + dy);
                }
            }
            if (touches) {
                out.setPixel(x, y, rim);
            }
        }
    }
    if (waiting > 0) {
        paintBadge(out, waiting);
    }
    return out;
}

QIcon icon(bool running, int waiting) {
    QIcon icon;
    for (const int size : sizes) {
        icon.addPixmap(QPixmap::fromImage(image(size, running, waiting)));
    }
    return icon;
}

} // namespace TrayArtwork
