#include "workspace/VantleClient.h"

#include "panels/DornReport.h"

namespace VantleClient {

QCoro::Task<Result<std::optional<DornReport>>> dornReport() {
    const auto reply = co_await sendForObject("GET", QStringLiteral("/api/dorn/board"), std::nullopt, 30);
    if (!reply) {
        co_return reply.error();
    }
    co_return DornReport::fromResponse(*reply);
}

} // namespace VantleClient
