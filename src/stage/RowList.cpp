#include "stage/RowList.h"

#include <QBoxLayout>

RowList::RowList(int spacing, QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(spacing);
    hide();
}

void RowList::add(QWidget* row, Qt::Alignment alignment) {
    static_cast<QBoxLayout*>(layout())->addWidget(row, 0, alignment);
    show();
}

void RowList::clear() {
    while (auto* item = layout()->takeAt(0)) {
        // Later, not now: the row may be the sender of the click that got us here.
        if (auto* w = item->widget()) {
            w->hide();
            w->deleteLater();
        }
        delete item;
    }
    hide();
}

QList<QWidget*> RowList::rows() const {
    QList<QWidget*> out;
    for (int i = 0; i < layout()->count(); ++i) {
        if (auto* w = layout()->itemAt(i)->widget()) {
            out << w;
        }
    }
    return out;
}
