#pragma once

#include "TurnScript.h"

#include <string>

class Router;
class SimServer;
struct Call;

// The workspace's HTTP interface, paths relative to the base path: the desktop-key exchange, the
// public company call, the account, chat, notification, approval, upload, inbox, time and board
// calls, and the event stream. Bearer tokens are checked on every call but the exchange and the
// company call.
class WorkspaceRoutes {
public:
    explicit WorkspaceRoutes(SimServer& sim);
    void install(Router& router);

private:
    bool authorised(Call& call);
    void playStep(const TurnScript::Step& step, const std::string& turnId);

    void exchange(Call& call);
    void company(Call& call);
    void me(Call& call);
    void agents(Call& call);
    void markRead(Call& call);
    void createThread(Call& call);
    void threadFromNotification(Call& call);
    void messages(Call& call);
    void turn(Call& call);
    void approval(Call& call);
    void decide(Call& call);
    void upload(Call& call);
    void documents(Call& call);
    void forwardEmail(Call& call);
    void eventStream(Call& call);
    void timeState(Call& call);
    void startTimer(Call& call);
    void stopTimer(Call& call);
    void recentTimers(Call& call);
    void board(Call& call);

    SimServer& sim_;
};
