#include "PixelCanvas.h"

#include <algorithm>
#include <cmath>

Mask::Mask(int width, int height) : w_(width), h_(height), bits_(std::size_t(width * height), 0) {}

bool Mask::at(int x, int y) const {
    if (x < 0 || y < 0 || x >= w_ || y >= h_)
        return false;
    return bits_[std::size_t(y * w_ + x)] != 0;
}

void Mask::set(int x, int y, bool on) {
    if (x < 0 || y < 0 || x >= w_ || y >= h_)
        return;
    bits_[std::size_t(y * w_ + x)] = on ? 1 : 0;
}

bool Mask::isEmpty() const {
    return count() == 0;
}

int Mask::count() const {
    return int(std::count(bits_.begin(), bits_.end(), 1));
}

Mask& Mask::operator|=(const Mask& other) {
    for (std::size_t i = 0; i < bits_.size() && i < other.bits_.size(); ++i)
        bits_[i] = bits_[i] | other.bits_[i];
    return *this;
}

Mask& Mask::operator-=(const Mask& other) {
    for (std::size_t i = 0; i < bits_.size() && i < other.bits_.size(); ++i)
        bits_[i] = bits_[i] && !other.bits_[i] ? 1 : 0;
    return *this;
}

Mask& Mask::operator&=(const Mask& other) {
    for (std::size_t i = 0; i < bits_.size() && i < other.bits_.size(); ++i)
        bits_[i] = bits_[i] & other.bits_[i];
    return *this;
}

Mask Mask::grown() const {
    Mask out(w_, h_);
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x)
            if (at(x, y) || at(x - 1, y) || at(x + 1, y) || at(x, y - 1) || at(x, y + 1))
                out.set(x, y);
    return out;
}

Mask Mask::moved(int dx, int dy) const {
    Mask out(w_, h_);
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x)
            if (at(x, y))
                out.set(x + dx, y + dy);
    return out;
}

Mask Shapes::ellipse(double cx, double cy, double rx, double ry) const {
    Mask m(w_, h_);
    if (rx <= 0 || ry <= 0)
        return m;
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x) {
            const double dx = (x + 0.5 - cx) / rx;
            const double dy = (y + 0.5 - cy) / ry;
            if (dx * dx + dy * dy <= 1.0)
                m.set(x, y);
        }
    return m;
}

Mask Shapes::rect(double x0, double y0, double x1, double y1) const {
    Mask m(w_, h_);
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x)
            if (x + 0.5 >= x0 && x + 0.5 < x1 && y + 0.5 >= y0 && y + 0.5 < y1)
                m.set(x, y);
    return m;
}

Mask Shapes::roundRect(double x0, double y0, double x1, double y1, double r) const {
    Mask m(w_, h_);
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x) {
            const double px = x + 0.5;
            const double py = y + 0.5;
            if (px < x0 || px >= x1 || py < y0 || py >= y1)
                continue;
            const double qx = std::clamp(px, x0 + r, x1 - r);
            const double qy = std::clamp(py, y0 + r, y1 - r);
            if ((px - qx) * (px - qx) + (py - qy) * (py - qy) <= r * r)
                m.set(x, y);
        }
    return m;
}

Mask Shapes::line(QPointF a, QPointF b, double width) const {
    Mask m(w_, h_);
    const double r = width / 2.0;
    const QPointF d = b - a;
    const double len2 = d.x() * d.x() + d.y() * d.y();
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x) {
            const QPointF p(x + 0.5, y + 0.5);
            double t = len2 > 0 ? ((p - a).x() * d.x() + (p - a).y() * d.y()) / len2 : 0.0;
            t = std::clamp(t, 0.0, 1.0);
            const QPointF q = a + d * t;
            const double ex = p.x() - q.x();
            const double ey = p.y() - q.y();
            if (ex * ex + ey * ey <= r * r)
                m.set(x, y);
        }
    return m;
}

Mask Shapes::polygon(std::initializer_list<QPointF> points) const {
    return polygon(std::vector<QPointF>(points));
}

Mask Shapes::polygon(const std::vector<QPointF>& pts) const {
    Mask m(w_, h_);
    const std::size_t n = pts.size();
    if (n < 3)
        return m;
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x) {
            const double px = x + 0.5;
            const double py = y + 0.5;
            bool inside = false;
            for (std::size_t i = 0, j = n - 1; i < n; j = i++) {
                const QPointF& a = pts[i];
                const QPointF& b = pts[j];
                if ((a.y() > py) != (b.y() > py)) {
                    const double cx = a.x() + (py - a.y()) * (b.x() - a.x()) / (b.y() - a.y());
                    if (px < cx)
                        inside = !inside;
                }
            }
            if (inside)
                m.set(x, y);
        }
    return m;
}

Mask Shapes::cells(std::initializer_list<QPoint> points, QPoint offset) const {
    Mask m(w_, h_);
    for (const QPoint& p : points)
        m.set(p.x() + offset.x(), p.y() + offset.y());
    return m;
}

Canvas::Canvas(int width, int height) : w_(width), h_(height), px_(std::size_t(width * height), 0) {}

QRgb Canvas::at(int x, int y) const {
    if (x < 0 || y < 0 || x >= w_ || y >= h_)
        return 0;
    return px_[std::size_t(y * w_ + x)];
}

void Canvas::set(int x, int y, QRgb colour) {
    if (x < 0 || y < 0 || x >= w_ || y >= h_)
        return;
    px_[std::size_t(y * w_ + x)] = colour;
}

void Canvas::fill(const Mask& mask, QRgb colour) {
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x)
            if (mask.at(x, y))
                set(x, y, colour);
}

void Canvas::paint(const Mask& m, const Tone& t) {
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x) {
            if (!m.at(x, y))
                continue;
            const bool lit = !m.at(x - 1, y) || !m.at(x, y - 1);
            const bool shaded = !m.at(x + 1, y) || !m.at(x, y + 1);
            QRgb c = t.base;
            if (shaded && !lit)
                c = t.dark;
            else if (lit && !shaded)
                c = t.light;
            set(x, y, c ? c : t.base);
        }
}

void Canvas::ring(const Mask& mask, QRgb ink) {
    fill(mask.grown() - mask, ink);
}

Mask Canvas::opaque() const {
    Mask m(w_, h_);
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x)
            if (qAlpha(at(x, y)) > 0)
                m.set(x, y);
    return m;
}

int Canvas::opaqueCount() const {
    return opaque().count();
}

void Canvas::outline(QRgb ink) {
    const Mask m = opaque();
    fill(m.grown() - m, ink);
}

Canvas Canvas::transformed(double sx, double sy, QPointF pivot, int dx, int dy) const {
    Canvas out(w_, h_);
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x) {
            const double srcX = pivot.x() + (x + 0.5 - dx - pivot.x()) / sx;
            const double srcY = pivot.y() + (y + 0.5 - dy - pivot.y()) / sy;
            out.set(x, y, at(int(std::floor(srcX)), int(std::floor(srcY))));
        }
    return out;
}

void Canvas::overlay(const Canvas& other) {
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x)
            if (qAlpha(other.at(x, y)) > 0)
                set(x, y, other.at(x, y));
}

QImage Canvas::toImage(int scale) const {
    QImage img(w_ * scale, h_ * scale, QImage::Format_ARGB32);
    img.fill(0);
    for (int y = 0; y < h_; ++y)
        for (int x = 0; x < w_; ++x) {
            const QRgb c = at(x, y);
            if (!c)
                continue;
            for (int j = 0; j < scale; ++j) {
                auto* line = reinterpret_cast<QRgb*>(img.scanLine(y * scale + j));
                for (int i = 0; i < scale; ++i)
                    line[x * scale + i] = c;
            }
        }
    return img;
}
