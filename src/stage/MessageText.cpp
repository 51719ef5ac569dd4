#include "stage/MessageText.h"

#include "stage/BalloonStyle.h"

#include <QPainter>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace {

// The text wraps short of the column's edge, which leaves room for a thin scroll bar, so that
// the lines stay the same when the bar appears.
constexpr int wrapWidth = 258;
constexpr int scrollBarWidth = 5;
// Lists and quotes step in this far per level; the quote's bar stands in its step.
constexpr int indentStep = 16;
constexpr int quoteBar = 2;
constexpr int paragraphGap = 6;

// Tables, strike-through and task lists; no HTML, no address made a link (links are rows of
// their own), and "_" for italics, not underline.
const QTextDocument::MarkdownFeatures markdownFeatures =
    QTextDocument::MarkdownFeatures(0x0100 | 0x0200 | 0x0800) | QTextDocument::MarkdownNoHTML;

// A line that a mark at its end would spoil: a code fence, a table's row, a heading's underline
// or a rule.
const QRegularExpression& keptAsWritten() {
    static const QRegularExpression expression(
        QStringLiteral(R"(^ {0,3}(?:```|~~~)|\||^ {0,3}[-=*_ \t]+$|^(?: {4}|\t))"));
    return expression;
}

// Markdown joins the lines of a paragraph; in a chat a line break stays one. Each line but those
// in code, tables and the like ends in this mark, which the reader takes for a blank, so that
// emphasis closed at the line's end still closes; the document then turns it into a line break
// where the line goes on in the same paragraph, and drops it where the paragraph ends.
constexpr QChar lineEnd(0x205F);

QString withLineBreaks(const QString& text) {
    const QStringList lines = QString(text).replace(lineEnd, QLatin1Char(' ')).split(QLatin1Char('\n'));
    QString out;
    out.reserve(text.size() + lines.size());
    bool inCode = false;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString& line = lines[i];
        const bool fence = line.trimmed().startsWith(QLatin1String("```")) ||
                           line.trimmed().startsWith(QLatin1String("~~~"));
        inCode = inCode != fence;
        out += line;
        if (!inCode && !line.trimmed().isEmpty() && !line.endsWith(QLatin1Char('\\')) &&
            !keptAsWritten().match(line).hasMatch()) {
            out += lineEnd;
        }
        if (i + 1 < lines.size()) {
            out += QLatin1Char('\n');
        }
    }
    return out;
}

void placeLineBreaks(QTextDocument& document) {
    QTextCursor edit(&document);
    for (QTextBlock block = document.lastBlock(); block.isValid(); block = block.previous()) {
        const QString text = block.text();
        for (auto at = text.lastIndexOf(lineEnd); at >= 0;
             at = at > 0 ? text.lastIndexOf(lineEnd, at - 1) : -1) {
            edit.setPosition(block.position() + static_cast<int>(at));
            // The blank that stands for the joined line break goes with the mark.
            const bool joined = at + 1 < text.size() && text.at(at + 1) == QLatin1Char(' ');
            edit.setPosition(edit.position() + (joined ? 2 : 1), QTextCursor::KeepAnchor);
            edit.insertText(joined ? QString(QChar::LineSeparator) : QString());
        }
    }
}

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
    document()->setIndentWidth(indentStep);
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
    // The dividing line comes and goes with the scrolling, which moves the viewport's pixels.
    connect(verticalScrollBar(), &QScrollBar::valueChanged, viewport(), qOverload<>(&QWidget::update));
    setSelectable(true);
    fitHeight(heightLimit);
}

void MessageText::setMessage(const QString& text, Qt::TextFormat format) {
    format = format == Qt::MarkdownText ? format : Qt::PlainText;
    if (text == shown && format == shownFormat) {
        return;
    }
    const int scrolled = verticalScrollBar()->value();
    if (format == Qt::MarkdownText) {
        showMarkdown(text);
    } else if (shownFormat == Qt::PlainText && !shown.isEmpty() && text.startsWith(shown)) {
        QTextCursor end(document());
        end.movePosition(QTextCursor::End);
        end.insertText(text.mid(shown.size()));
    } else {
        setPlainText(text);
    }
    shown = text;
    shownFormat = format;
    // A new height asks the balloon to fit itself again.
    fitHeight(heightLimit);
    if (format == Qt::MarkdownText) {
        // The reader stays at the place read, as the text grows under it.
        verticalScrollBar()->setValue(scrolled);
    }
}

void MessageText::showMarkdown(const QString& text) {
    const int anchor = textCursor().anchor();
    const int position = textCursor().position();
    // Read into a document of its own, which nothing lays out while it is built: the editor's
    // own would be laid out again at every piece the reader adds.
    auto* next = new QTextDocument(this);
    next->setUndoRedoEnabled(false);
    next->setDocumentMargin(0);
    next->setIndentWidth(indentStep);
    next->setDefaultFont(font());
    next->setMarkdown(withLineBreaks(text), markdownFeatures);
    placeLineBreaks(*next);
    QTextCursor edit(next);
    for (QTextBlock block = next->begin(); block.isValid(); block = block.next()) {
        QTextBlockFormat format = block.blockFormat();
        // Headings are bold at the text's own size: the balloon is too small for more.
        if (format.headingLevel() > 0) {
            edit.setPosition(block.position());
            edit.setPosition(block.position() + block.length() - 1, QTextCursor::KeepAnchor);
            QTextCharFormat plainSize;
            plainSize.setProperty(QTextFormat::FontSizeAdjustment, 0);
            plainSize.setFontWeight(QFont::DemiBold);
            edit.mergeCharFormat(plainSize);
        }
        if (const int level = format.intProperty(QTextFormat::BlockQuoteLevel); level > 0) {
            format.setLeftMargin(level * indentStep);
            format.setRightMargin(0);
        }
        // A gap between paragraphs, none between the items of a list or the lines of code.
        const QTextBlock previous = block.previous();
        const bool continues = previous.isValid() &&
                               ((block.textList() && previous.textList()) ||
                                (format.nonBreakableLines() && previous.blockFormat().nonBreakableLines()));
        format.setTopMargin(previous.isValid() && !continues ? paragraphGap : 0);
        format.setBottomMargin(0);
        edit.setPosition(block.position());
        edit.setBlockFormat(format);
    }
    // The one it replaces, a child of this editor, goes with the change.
    setDocument(next);
    // The same text stands where it stood, so the reader's selection still holds.
    const int end = std::max(next->characterCount() - 1, 0);
    QTextCursor kept(next);
    kept.setPosition(std::min(anchor, end));
    kept.setPosition(std::min(position, end), QTextCursor::KeepAnchor);
    setTextCursor(kept);
}

bool MessageText::isScrolledDown() const {
    return isScrolling() && verticalScrollBar()->value() > 0;
}

void MessageText::paintEvent(QPaintEvent* event) {
    QTextEdit::paintEvent(event);
    QPainter painter(viewport());
    const int scrolled = verticalScrollBar()->value();
    // A quote has a bar down its left side, one for each level.
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        const int level = block.blockFormat().intProperty(QTextFormat::BlockQuoteLevel);
        if (level <= 0) {
            continue;
        }
        // From the top of its first line to the foot of its last.
        const QTextLayout* lines = block.layout();
        if (lines->lineCount() == 0) {
            continue;
        }
        const QTextLine last = lines->lineAt(lines->lineCount() - 1);
        const qreal top = lines->position().y() + lines->lineAt(0).y() - scrolled;
        const qreal bottom = lines->position().y() + last.y() + last.height() - scrolled;
        for (int i = 0; i < level; ++i) {
            painter.fillRect(QRectF(i * indentStep, top, quoteBar, bottom - top),
                             BalloonStyle::tertiaryLabel());
        }
    }
    if (isScrolledDown()) {
        painter.fillRect(QRect(0, 0, viewport()->width(), 1), BalloonStyle::separator());
    }
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
