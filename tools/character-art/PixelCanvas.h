#pragma once

#include <QImage>
#include <QPoint>
#include <QPointF>

#include <initializer_list>
#include <vector>

// Art is drawn on a coarse grid of cells; each cell later becomes a square block of whole pixels.
// Coordinates are in cells, continuous: cell (x, y) covers [x, x+1) x [y, y+1), y grows down.

constexpr QRgb rgb(unsigned hex) {
    return 0xff000000u | hex;
}

// A fill colour with a lighter and a darker shade for the lit and shaded edges of a shape.
struct Tone {
    QRgb base = 0;
    QRgb light = 0;
    QRgb dark = 0;
};

constexpr Tone tone(unsigned base, unsigned light, unsigned dark) {
    return {rgb(base), rgb(light), rgb(dark)};
}
constexpr Tone flat(unsigned c) {
    return {rgb(c), rgb(c), rgb(c)};
}

class Mask {
public:
    Mask() = default;
    Mask(int width, int height);

    int width() const { return w_; }
    int height() const { return h_; }
    bool at(int x, int y) const;
    void set(int x, int y, bool on = true);
    bool isEmpty() const;
    int count() const;

    Mask& operator|=(const Mask& other);
    Mask& operator-=(const Mask& other);
    Mask& operator&=(const Mask& other);
    friend Mask operator|(Mask a, const Mask& b) { return a |= b; }
    friend Mask operator-(Mask a, const Mask& b) { return a -= b; }
    friend Mask operator&(Mask a, const Mask& b) { return a &= b; }

    // The mask plus its four-way neighbours.
    Mask grown() const;
    Mask moved(int dx, int dy) const;

private:
    int w_ = 0;
    int h_ = 0;
    std::vector<unsigned char> bits_;
};

// Builds masks of simple shapes: a cell belongs to a shape when its centre lies inside.
class Shapes {
public:
    Shapes(int width, int height) : w_(width), h_(height) {}

    Mask none() const { return Mask(w_, h_); }
    Mask ellipse(double cx, double cy, double rx, double ry) const;
    Mask disk(double cx, double cy, double r) const { return ellipse(cx, cy, r, r); }
    Mask rect(double x0, double y0, double x1, double y1) const;
    Mask roundRect(double x0, double y0, double x1, double y1, double r) const;
    // A stroke of the given width with round ends.
    Mask line(QPointF a, QPointF b, double width) const;
    Mask polygon(std::initializer_list<QPointF> points) const;
    Mask polygon(const std::vector<QPointF>& points) const;
    Mask cells(std::initializer_list<QPoint> points, QPoint offset = {}) const;

private:
    int w_;
    int h_;
};

class Canvas {
public:
    Canvas(int width, int height);

    int width() const { return w_; }
    int height() const { return h_; }
    QRgb at(int x, int y) const;
    void set(int x, int y, QRgb colour);
    void set(QPoint p, QRgb colour) { set(p.x(), p.y(), colour); }

    void fill(const Mask& mask, QRgb colour);
    // Fills with shading: the left and top edges lit, the right and bottom edges shaded.
    void paint(const Mask& mask, const Tone& tone);
    // The ring of cells around the mask, in ink; drawn before a part so parts stay apart.
    void ring(const Mask& mask, QRgb ink);
    void part(const Mask& mask, const Tone& tone, QRgb ink) {
        ring(mask, ink);
        paint(mask, tone);
    }
    // A part lying on another one (hair on a face): outlined only where it leaves `under`.
    void partOver(const Mask& mask, const Mask& under, const Tone& tone, QRgb ink) {
        fill(mask.grown() - mask - under, ink);
        paint(mask, tone);
    }

    // Surrounds everything drawn with a one-cell outline, so the figure reads on any background.
    void outline(QRgb ink);
    Mask opaque() const;
    int opaqueCount() const;

    // Scales about a pivot (nearest cell) and moves; used for squash, stretch and hops.
    Canvas transformed(double sx, double sy, QPointF pivot, int dx, int dy) const;
    // Draws another canvas over this one.
    void overlay(const Canvas& other);

    // Each cell becomes a scale x scale block of pixels.
    QImage toImage(int scale) const;

private:
    int w_;
    int h_;
    std::vector<QRgb> px_;
};
