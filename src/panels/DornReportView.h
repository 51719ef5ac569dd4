#pragma once

#include "panels/DornReport.h"

#include <QWidget>

#include <functional>

class QScrollArea;

// The board report as read in its panel: the score and its line, the narrative, what goes well,
// what worries, what to do next, and the way on to Dorn's page. The column has a fixed width and
// scrolls when it gets less height than it needs.
class DornReportView : public QWidget {
    Q_OBJECT
public:
    static constexpr int columnWidth = 380;
    // Longer narratives are cut here: the panel shows at most a few screens, and the workspace
    // has the whole text.
    static constexpr int narrativeLimit = 20000;

    explicit DornReportView(const DornReport& report, QWidget* parent = nullptr);

    std::function<void()> openVantle;
    std::function<void()> close;

    // A scroll bar only where the report gets less height than it wants.
    void setScrolls(bool on);
    // The height the whole report wants at the column's width.
    int naturalHeight() const;

    // A recommendation's second line: who does it and what it brings, whichever are given.
    static QString secondLine(const DornReport::Recommendation& recommendation);
    // The footer's "Written" line in the language in force.
    static QString written(const QDateTime& at);

private:
    QWidget* column = nullptr;
    QScrollArea* scroller = nullptr;
};
