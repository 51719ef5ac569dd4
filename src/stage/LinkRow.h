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
    // The row's text: the title and the host without "www.", or one of them alone where they
    // say the same or there is no host.
    static QString caption(const WebLink& link);
    QString shownText() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QUrl target;
    bool under = false;
};
