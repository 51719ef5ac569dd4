#include "stage/ChoiceList.h"

#include "base/Text.h"
#include "stage/BalloonStyle.h"
#include "stage/ChipFlow.h"
#include "stage/PillButton.h"

#include <QBoxLayout>
#include <QMenu>

#include <algorithm>

ChoiceList::ChoiceList(QWidget* parent) : RowList(ChipFlow::spacing, parent) {}

void ChoiceList::setChoices(const QList<ChatChoice>& offered) {
    pullDownMenu = nullptr;
    clear();
    if (offered.isEmpty()) {
        return;
    }
    QList<int> refs;
    for (int i = 0; i < offered.size(); ++i) {
        if (offered[i].ref) {
            refs << i;
        }
    }
    const bool gathered = refs.size() >= 5;
    QList<QWidget*> views;
    if (gathered) {
        views << makePullDown(offered, refs);
    }
    for (int i = 0; i < offered.size(); ++i) {
        if (!gathered || !offered[i].ref) {
            auto* chip = new PillButton(PillButton::Kind::chip, offered[i].label, this);
            connect(chip, &QAbstractButton::clicked, this, [this, i] { picked(i); });
            views << chip;
        }
    }
    flow(views);
}

PillButton* ChoiceList::makePullDown(const QList<ChatChoice>& offered, const QList<int>& refs) {
    auto* pullDown = new PillButton(
        PillButton::Kind::pullDown,
        base::pick(QStringLiteral("Choose (%1)"), QStringLiteral("Vali (%1)")).arg(refs.size()), this);
    auto* list = new QMenu(pullDown);
    list->setAttribute(Qt::WA_TranslucentBackground);
    list->setWindowFlags(list->windowFlags() | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
    list->setFont(BalloonStyle::font(12));
    list->setStyleSheet(QStringLiteral(
        "QMenu { background: rgba(252, 252, 253, 250); border: 1px solid rgba(0, 0, 0, 36); "
        "border-radius: 10px; padding: 5px; }"
        "QMenu::item { padding: 5px 16px 5px 10px; border-radius: 6px; color: rgba(0, 0, 0, 217); }"
        "QMenu::item:selected { background: rgb(0, 122, 255); color: white; }"));
    for (const int r : refs) {
        // A choice offered twice is picked as its first occurrence.
        const auto first = std::find(offered.begin(), offered.end(), offered[r]) - offered.begin();
        list->addAction(offered[r].label)->setData(static_cast<int>(first));
    }
    connect(list, &QMenu::triggered, this, [this, list](QAction* action) {
        // A menu of an offer that has since gone does nothing.
        if (pullDownMenu == list && action->data().typeId() == QMetaType::Int) {
            picked(action->data().toInt());
        }
    });
    connect(pullDown, &QAbstractButton::clicked, list,
            [list, pullDown] { list->popup(pullDown->mapToGlobal(QPoint(0, pullDown->height() + 4))); });
    pullDownMenu = list;
    return pullDown;
}

void ChoiceList::flow(const QList<QWidget*>& views) {
    QList<int> widths;
    for (auto* view : views) {
        widths << view->sizeHint().width();
    }
    for (const auto& indices : ChipFlow::rows(widths)) {
        auto* line = new QWidget(this);
        auto* row = new QHBoxLayout(line);
        row->setContentsMargins(0, 0, 0, 0);
        row->setSpacing(ChipFlow::spacing);
        for (const int index : indices) {
            views[index]->setParent(line);
            views[index]->setMaximumWidth(ChipFlow::maxRowWidth);
            row->addWidget(views[index]);
        }
        row->addStretch(1);
        add(line);
    }
}

QList<PillButton*> ChoiceList::buttons() const {
    QList<PillButton*> out;
    for (auto* line : rows()) {
        for (int j = 0; j < line->layout()->count(); ++j) {
            if (auto* button = qobject_cast<PillButton*>(line->layout()->itemAt(j)->widget())) {
                out << button;
            }
        }
    }
    return out;
}

void ChoiceList::picked(int index) {
    if (onPick) {
        onPick(index);
    }
}
