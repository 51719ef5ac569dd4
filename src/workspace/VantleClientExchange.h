#pragma once

#include "base/Result.h"
#include "workspace/ClientError.h"

#include <QCoro/QCoroTask>
#include <QString>

namespace VantleClient {

struct Exchanged {
    QString token;
    double expiresIn = 900;
};

// Trades the desktop key for an access token. Only the token store calls it.
QCoro::Task<base::Result<Exchanged, ClientError>> exchange();

} // namespace VantleClient
