#pragma once

#include <QJsonObject>

#include <vector>

// What the demo company sends now and then, in this order: one of every kind of notification
// that the program tells apart, with approvals in both link forms among them.
struct DemoNotice {
    enum class Kind {
        notification,
        approval,     // linked as "?item=approval:<id>"
        approvalById, // linked as "?approvalId=<id>"
    };
    Kind kind;
    QJsonObject fields; // the notification's, or the approval's
};

const std::vector<DemoNotice>& demoNotices();
