#pragma once

class Router;
class SimServer;
struct Call;

// The /sim/ control API that tests and the demo script drive: scripted turns, pushed
// notifications and approvals, the key and token lifetimes, faults, the request log, stream
// settings, and a reset. README.md beside this file lists every endpoint.
class ControlRoutes {
public:
    explicit ControlRoutes(SimServer& sim);
    void install(Router& router);

private:
    SimServer& sim_;
};
