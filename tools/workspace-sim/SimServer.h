#pragma once

#include "EventHub.h"
#include "FaultTable.h"
#include "RequestLog.h"
#include "Router.h"
#include "SimState.h"

#include <QJsonArray>
#include <QJsonObject>

#include <memory>
#include <string>

namespace httplib {
class Server;
}

class DemoCompany;
class WorkspaceRoutes;
class ControlRoutes;
class OllamaRoutes;

struct SimOptions {
    int port = 0;
    std::string key = "demo-key";
    bool demo = false;
    int demoNoticesAfter = 30; // seconds from the start to the demo's first notification
    std::string base = "/app"; // workspace paths live under it, escapes as written; "" is the root
};

// The simulator: one HTTP server on 127.0.0.1 with three sets of routes (the workspace under the
// base path, the local model at the root, the control API under /sim/), and the shared parts
// they use. Every request but the control API's is logged and checked against the fault table
// before it is routed.
class SimServer {
public:
    explicit SimServer(SimOptions options);
    ~SimServer();
    SimServer(const SimServer&) = delete;
    SimServer& operator=(const SimServer&) = delete;

    // Binds 127.0.0.1; gives the port, or -1.
    int bind();
    // Serves until stop(); returns false if serving failed.
    bool run();
    // Wakes every waiting handler and stops the server. Safe from any thread.
    void stop();

    const SimOptions& options() const { return options_; }
    int port() const { return port_; }
    SimState& state() { return state_; }
    EventHub& hub() { return hub_; }
    RequestLog& log() { return log_; }
    FaultTable& faults() { return faults_; }
    DemoCompany* demo() { return demo_.get(); }

    // A notification into the workspace's records and onto every open stream.
    QJsonObject pushNotification(const QJsonObject& fields, const QJsonArray& threadMessages = {});
    // An approval, and the notification that points at it (unless `notify` is false).
    QJsonObject pushApproval(const QJsonObject& approvalFields, const QJsonObject& notificationFields,
                             bool notify = true);
    // Back to the start: records, faults, scripts, log and settings; open streams are closed.
    void resetAll();

private:
    void handle(const httplib::Request& request, httplib::Response& response);
    // True when the fault answered the request, false when routing goes on.
    bool applyFault(const FaultTable::Fault& fault, const httplib::Request& request,
                    httplib::Response& response);
    void route(const httplib::Request& request, httplib::Response& response);

    SimOptions options_;
    // The base path as requests arrive once their escapes are decoded.
    std::string decodedBase_;
    int port_ = -1;
    SimState state_;
    EventHub hub_;
    RequestLog log_;
    FaultTable faults_;
    std::unique_ptr<httplib::Server> server_;
    std::unique_ptr<DemoCompany> demo_;
    std::unique_ptr<WorkspaceRoutes> workspaceRoutes_;
    std::unique_ptr<OllamaRoutes> ollamaRoutes_;
    std::unique_ptr<ControlRoutes> controlRoutes_;
    Router workspace_;
    Router root_;
    Router control_;
};
