#pragma once

#include <QTextEdit>

// The balloon's message: plain text, or an answer's Markdown, that wraps anywhere it must, and
// scrolls once it is taller than the room it is given, under a thin line once scrolled.
class MessageText : public QTextEdit {
    Q_OBJECT
public:
    explicit MessageText(QWidget* parent = nullptr);

    // Shows the text; a plain text that continues the one shown is only appended, so that a long
    // text costs no new layout of what stood already. Markdown is read anew each time, and the
    // reader's selection is kept.
    void setMessage(const QString& text, Qt::TextFormat format = Qt::PlainText);
    QString message() const { return shown; }
    // Whether the text has scrolled up under the title, which the dividing line then shows.
    bool isScrolledDown() const;

    void setColor(const QColor& color);
    QColor color() const;
    void setSelectable(bool on);
    bool isSelectable() const { return selectable; }

    // The height of the whole text at the balloon's width.
    int naturalHeight() const;
    // The room the message has, from now on: as tall as the text, at most this; it scrolls if
    // the text needs more.
    void fitHeight(int limit);
    bool isScrolling() const { return verticalScrollBarPolicy() != Qt::ScrollBarAlwaysOff; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void showMarkdown(const QString& text);

    QString shown;
    Qt::TextFormat shownFormat = Qt::PlainText;
    bool selectable = true;
    int heightLimit = QWIDGETSIZE_MAX;
};
