#include "stage/DetailLabel.h"

#include "stage/BalloonStyle.h"

#include <QTextLayout>

namespace {

// The text broken into lines at the given width, at most maxLines of them; when text is left
// over, the last line takes the rest and ends in an ellipsis. A word longer than a line is
// broken too.
QString clampLines(const QString& text, const QFont& font, int width, int maxLines) {
    // A text layout breaks lines only at a line separator, never at a line feed.
    QString flowing = text;
    flowing.replace(QLatin1Char('\n'), QChar::LineSeparator);
    QStringList lines;
    QTextLayout layout(flowing, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    int lastStart = 0;
    bool cut = false;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        if (lines.size() == maxLines) {
            cut = true;
            break;
        }
        lastStart = line.textStart();
        lines << text.mid(line.textStart(), line.textLength()).trimmed();
    }
    layout.endLayout();
    if (cut) {
        QString rest = text.mid(lastStart);
        rest.replace(QLatin1Char('\n'), QLatin1Char(' '));
        lines.last() = QFontMetrics(font).elidedText(rest, Qt::ElideRight, width);
    }
    return lines.join(QLatin1Char('\n'));
}

} // namespace

DetailLabel::DetailLabel(int width, int maxLines, QWidget* parent)
    : QLabel(parent), lineWidth(width), lineLimit(maxLines) {
    setFont(BalloonStyle::font(12));
    setTextFormat(Qt::PlainText);
    QPalette p = palette();
    p.setColor(QPalette::WindowText, BalloonStyle::secondaryLabel());
    setPalette(p);
    hide();
}

void DetailLabel::setDetail(const QString& text) {
    setText(clampLines(text, font(), lineWidth, lineLimit));
}
