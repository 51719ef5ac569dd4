#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// Dorn's newest board report: the company's health and what to do about it.
struct DornReport {
    struct Concern {
        QString title;
        QString detail;
    };
    struct Recommendation {
        QString action;
        QString owner;
        QString priority;
        QString impact;
    };

    // 0 to 100 from a workspace that behaves; shown as it came, whatever it is.
    int healthScore = 0;
    QString healthLine;
    QString narrative;
    QStringList positives;
    QList<Concern> concerns;
    QList<Recommendation> recommendations;
    std::optional<QDateTime> generatedAt;

    // The report of an answer; none when the workspace has none yet. Whatever else is missing
    // or of the wrong kind is left empty, so that a partly filled report still shows.
    static std::optional<DornReport> fromResponse(const QJsonObject& response);
};
