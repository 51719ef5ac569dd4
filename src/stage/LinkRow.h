#pragma once

#include "chat/WebLink.h"

#include <QAbstractButton>

// One link under an answer: its title and the site it leads to. A click opens it in the
// desktop's browser.
class LinkRow : public QAbstractButton {
    Q_OBJECT
public:
    explicit LinkRow(const WebLink& link, QWidget* parent = nullptr);

    const QUrl& url() const { return target; }
    // The row's text: the title and the host without "www.", or the host and the path where the
    // title is only the host, or the title alone where there is no host.
    static QString caption(const WebLink& link);
    // The caption at the row's width: the host stays whole, so that two links can be told apart;
    // the title gives way at its end, a path in its middle.
    QString shownText() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QString fitted(int width) const;

    QUrl target;
    // The caption's parts: what may give way, and the host, which stays whole.
    QString title;
    QString path;
    QString host;
    bool under = false;
};
