#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

// An agent's request that a person approve something before it goes on.
struct VantleApproval {
    QString id;
    QString agent; // name of the asking agent, possibly empty
    QString action;
    QString rationale;              // possibly empty
    std::optional<QString> details; // the payload as sent; never blank when present
    bool isWeighty = false;         // it can't be taken back, or it is of high risk
    bool canDecide = false;         // this user may decide it
    bool isPending = true;          // not yet decided by anyone

    // What stands under the action: the rationale, then the details cut to 600 characters,
    // each trimmed, the empty ones left out; empty when nothing is left.
    QString detailText() const;

    // None unless the object holds a string action. The id is the one that was asked for.
    static std::optional<VantleApproval> fromJson(const QJsonObject& json, const QString& id);
};
