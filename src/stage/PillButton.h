#pragma once

#include <QAbstractButton>

// A rounded button of the balloon: the small chips of a choice, the pull-down that gathers
// many of them, and the larger buttons of a decision.
class PillButton : public QAbstractButton {
    Q_OBJECT
public:
    enum class Kind {
        chip,        // small, quiet
        pullDown,    // small, quiet, with a chevron
        plain,       // large, quiet
        prominent,   // large, in the accent colour
        destructive, // large, quiet, with red text
    };

    PillButton(Kind kind, const QString& text, QWidget* parent = nullptr);

    Kind kind() const { return style; }
    // The text as it stands on screen, shortened with an ellipsis where the button is narrow.
    QString shownText() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    bool isLarge() const;
    int padding() const;
    int chevronRoom() const;

    Kind style;
    bool under = false;
};
