#pragma once

#include "stage/RowList.h"
#include "workspace/ChatChoice.h"

#include <QMenu>
#include <QPointer>

#include <functional>

class PillButton;

// The choices offered with an answer, as chips that flow into rows. Five or more with a ref go
// into one pull-down, in front of the chips of those without.
class ChoiceList : public RowList {
    Q_OBJECT
public:
    explicit ChoiceList(QWidget* parent = nullptr);

    // Puts up this offer in place of the last one; an empty offer hides the list.
    void setChoices(const QList<ChatChoice>& offered);
    // A chip or an item of the pull-down was picked: its index in the offer.
    std::function<void(int index)> onPick;

    QList<PillButton*> buttons() const;
    // The pull-down's menu, while the offer has one.
    QMenu* menu() const { return pullDownMenu; }

private:
    PillButton* makePullDown(const QList<ChatChoice>& offered, const QList<int>& refs);
    void flow(const QList<QWidget*>& views);
    void picked(int index);

    QPointer<QMenu> pullDownMenu;
};
