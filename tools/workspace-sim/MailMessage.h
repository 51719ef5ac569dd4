#pragma once

#include <QString>
#include <QStringList>

#include <string>

// What the workspace's inbox reads from a forwarded RFC 822 message: subject, sender, attachment
// names and an identity to recognise the same message forwarded twice.
struct MailMessage {
    QString subject;
    QString fromName;
    QString fromEmail;
    QStringList attachments;
    QString identity; // Message-ID, or a hash of the bytes when there is none

    static MailMessage read(const std::string& bytes);
};
