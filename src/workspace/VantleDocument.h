#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// A document in the workspace's knowledge base.
struct VantleDocument {
    QString id;
    QString name;
    QString folder;
    std::optional<QUrl> link;
};

// What the workspace made of a forwarded message.
struct ForwardedEmail {
    QString subject;
    QString fromName;
    QString fromEmail;
    QStringList attachments;
    bool duplicate = false;
};
