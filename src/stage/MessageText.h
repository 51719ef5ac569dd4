#pragma once

#include <QTextEdit>

// The balloon's message: plain text that wraps anywhere it must, and scrolls once it is
// taller than the room it is given.
class MessageText : public QTextEdit {
    Q_OBJECT
public:
    explicit MessageText(QWidget* parent = nullptr);

    // Shows the text; a text that continues the one shown, as a streamed answer does, is only
    // appended, so that a long answer costs no new layout of what stood already.
    void setMessage(const QString& text);
    QString message() const { return shown; }

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

private:
    QString shown;
    bool selectable = true;
    int heightLimit = QWIDGETSIZE_MAX;
};
