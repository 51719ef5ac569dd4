#include "stage/MessageText.h"

#include "stage/BalloonStyle.h"

#include <QScrollBar>
#include <QTextCursor>

#include <algorithm>
#include <cmath>

namespace {

// The text wraps short of the column's edge, which leaves room for a thin scroll bar, so that
// the lines stay the same when the bar appears.
constexpr int wrapWidth = 258;
constexpr int scrollBarWidth = 5;

} // namespace

MessageText::MessageText(QWidget* parent) : QTextEdit(parent) {
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setAcceptRichText(false);
    setAcceptDrops(false);
    viewport()->setAcceptDrops(false);
    setFrameShape(QFrame::NoFrame);
    setContentsMargins(0, 0, 0, 0);
    setViewportMargins(0, 0, 0, 0);
    document()->setDocumentMargin(0);
    setLineWrapMode(QTextEdit::FixedPixelWidth);
    setLineWrapColumnOrWidth(wrapWidth);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFont(BalloonStyle::font(13));
    setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);

    QPalette p = palette();
    p.setColor(QPalette::Base, Qt::transparent);
    p.setColor(QPalette::Text, BalloonStyle::label());
    QColor selection = BalloonStyle::accent();
    selection.setAlpha(64);
    p.setColor(QPalette::Highlight, selection);
    p.setColor(QPalette::HighlightedText, BalloonStyle::label());
    setPalette(p);

    verticalScrollBar()->setStyleSheet(
        QStringLiteral(
            "QScrollBar:vertical { background: transparent; width: %1px; margin: 0; }"
            "QScrollBar::handle:vertical { background: rgba(0, 0, 0, 70); border-radius: %2px; min-height: "
            "28px; }"
            "QScrollBar::handle:vertical:hover { background: rgba(0, 0, 0, 110); }"
            "QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; border: none; }"
            "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: transparent; }")
            .arg(scrollBarWidth)
            .arg(scrollBarWidth / 2.0));
    setSelectable(true);
    fitHeight(heightLimit);
}

void MessageText::setMessage(const QString& text) {
    if (text == shown) {
        return;
    }
    if (!shown.isEmpty() && text.startsWith(shown)) {
        QTextCursor end(document());
        end.movePosition(QTextCursor::End);
        end.insertText(text.mid(shown.size()));
    } else {
        setPlainText(text);
    }
    shown = text;
    // A new height asks the balloon to fit itself again.
    fitHeight(heightLimit);
}

void MessageText::setColor(const QColor& color) {
    QPalette p = palette();
    p.setColor(QPalette::Text, color);
    setPalette(p);
}

QColor MessageText::color() const {
    return palette().color(QPalette::Text);
}

void MessageText::setSelectable(bool on) {
    selectable = on;
    setTextInteractionFlags(on ? Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard
                               : Qt::NoTextInteraction);
    setFocusPolicy(on ? Qt::ClickFocus : Qt::NoFocus);
    if (!on) {
        QTextCursor cursor = textCursor();
        cursor.clearSelection();
        setTextCursor(cursor);
    }
    viewport()->setCursor(on ? Qt::IBeamCursor : Qt::ArrowCursor);
}

int MessageText::naturalHeight() const {
    return static_cast<int>(std::ceil(document()->size().height()));
}

void MessageText::fitHeight(int limit) {
    heightLimit = limit;
    const int natural = naturalHeight();
    const auto policy = natural > limit ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff;
    if (verticalScrollBarPolicy() != policy) {
        setVerticalScrollBarPolicy(policy);
    }
    setFixedHeight(std::min(natural, limit));
}
