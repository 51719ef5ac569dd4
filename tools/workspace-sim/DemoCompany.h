#pragma once

#include "TurnScript.h"

#include <QString>

#include <atomic>

class SimServer;

// A small scripted company for the demo: Northwind Harbour, with projects, clients, a week of
// time entries, a running timer and a knowledge base. Its four agents answer with streamed text,
// tools, links and choices, and now and then the workspace sends a notification or an approval.
class DemoCompany {
public:
    explicit DemoCompany(SimServer& sim);

    // Fills the workspace's records; called at start and after a reset.
    void seed();
    // Starts the occasional notifications and approvals (again, after a reset).
    void start();

    TurnScript answer(const QString& agent, const QString& message, const QString& choiceRef,
                      int attachmentCount) const;

private:
    void tick(int generation, int count);

    SimServer& sim_;
    std::atomic<int> generation_{0};
};
