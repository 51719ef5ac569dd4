#pragma once

#include <QString>
#include <QUrl>

// A link shown under an answer. Two links are the same link when their addresses are.
struct WebLink {
    QString title;
    QUrl url;
    bool operator==(const WebLink& other) const { return url == other.url; }
};
