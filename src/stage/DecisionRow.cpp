#include "stage/DecisionRow.h"

#include "base/Text.h"
#include "stage/PillButton.h"

#include <QBoxLayout>

#include <initializer_list>

DecisionRow::DecisionRow(QWidget* parent) : QWidget(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
    approve = new PillButton(PillButton::Kind::prominent,
                             base::pick(QStringLiteral("Approve"), QStringLiteral("Kinnita")), this);
    review = new PillButton(PillButton::Kind::plain,
                            base::pick(QStringLiteral("Review"), QStringLiteral("Vaata üle")), this);
    decline = new PillButton(PillButton::Kind::destructive,
                             base::pick(QStringLiteral("Decline"), QStringLiteral("Keeldu")), this);
    for (auto* button : {approve, review, decline}) {
        // Each at least as wide as its whole label, in either language; the rest of the row
        // is shared equally.
        button->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
        row->addWidget(button, 1);
    }
    hide();
}
