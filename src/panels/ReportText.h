#pragma once

#include <QColor>
#include <QWidget>

// Plain text of the report panel that wraps at word boundaries, and anywhere within a word too
// long for a line, and takes the height it needs at the width it is given.
class ReportText : public QWidget {
    Q_OBJECT
public:
    ReportText(const QString& text, const QFont& font, const QColor& color, QWidget* parent = nullptr);

    QString text() const { return shown; }

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString shown;
    QColor color;
};
