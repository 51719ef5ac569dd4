#pragma once

#include <QList>
#include <QWidget>

// A column of rows under the balloon's message, hidden while it holds none: the links of an
// answer, the choices on offer.
class RowList : public QWidget {
    Q_OBJECT
public:
    RowList(int spacing, QWidget* parent = nullptr);

    // Adds a row at the bottom and shows the list.
    void add(QWidget* row, Qt::Alignment alignment = {});
    // Takes every row away and hides the list.
    void clear();
    QList<QWidget*> rows() const;
};
