#pragma once

#include <QWidget>

class PillButton;

// The three answers to an approval side by side, each wide enough for its label. Their texts are settled when
// the row is made, in the language of that moment. Hidden at first.
class DecisionRow : public QWidget {
    Q_OBJECT
public:
    explicit DecisionRow(QWidget* parent = nullptr);

    PillButton* approveButton() const { return approve; }
    PillButton* reviewButton() const { return review; }
    PillButton* declineButton() const { return decline; }

private:
    PillButton* approve = nullptr;
    PillButton* review = nullptr;
    PillButton* decline = nullptr;
};
