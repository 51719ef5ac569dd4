#pragma once

#include "base/Result.h"
#include "workspace/ClientError.h"

#include <QCoro/QCoroTask>
#include <QString>
#include <QUrl>

namespace VantleClient {

struct Exchanged {
    QString token;
    double expiresIn = 900;
};

// Trades the desktop key for an access token at the workspace address. Only the token store
// calls it.
QCoro::Task<base::Result<Exchanged, ClientError>> exchange();
// The same for a key and an address that are not stored, for a check before they are.
QCoro::Task<base::Result<Exchanged, ClientError>> exchangeAt(QUrl workspace, QString key);

} // namespace VantleClient
