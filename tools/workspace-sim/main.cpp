// workspace-sim: a local stand-in for the hosted workspace and for the local model's server, on
// 127.0.0.1 only. The desktop program's demo runs against it, and so do the integration tests.
//
//   workspace-sim [--port N] [--key K] [--demo] [--notices-after S] [--base PATH]
//
// The first line on standard output is "listening on 127.0.0.1:PORT". SIGTERM or SIGINT stops it
// with status 0. The control API is described in README.md beside this file.

#include "SimServer.h"

#include <QCoreApplication>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <string>
#include <thread>

#include <pthread.h>
#include <unistd.h>

namespace {

void usage(FILE* out) {
    std::fprintf(out,
                 "usage: workspace-sim [--port N] [--key K] [--demo] [--notices-after S] [--base PATH]\n"
                 "  --port N     port on 127.0.0.1; 0 (the default) picks a free one\n"
                 "  --key K      the desktop key that the token exchange accepts (default demo-key)\n"
                 "  --demo       play a small company: streamed answers, tools, notifications\n"
                 "  --notices-after S  the demo's first notification S seconds after the start (default 30)\n"
                 "  --base PATH  path under which the workspace lives (default /app)\n");
}

bool parse(int argc, char** argv, SimOptions* options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        auto value = [&](std::string* out) {
            if (i + 1 >= argc)
                return false;
            *out = argv[++i];
            return true;
        };
        // The next argument as a whole number within the bounds.
        auto number = [&](long low, long high, int* out) {
            std::string text;
            if (!value(&text))
                return false;
            char* end = nullptr;
            const long n = std::strtol(text.c_str(), &end, 10);
            if (end == text.c_str() || *end != '\0' || n < low || n > high)
                return false;
            *out = static_cast<int>(n);
            return true;
        };
        if (arg == "--demo") {
            options->demo = true;
        } else if (arg == "--port") {
            if (!number(0, 65535, &options->port))
                return false;
        } else if (arg == "--notices-after") {
            if (!number(0, 86400, &options->demoNoticesAfter))
                return false;
        } else if (arg == "--key") {
            if (!value(&options->key) || options->key.empty())
                return false;
        } else if (arg == "--base") {
            if (!value(&options->base))
                return false;
        } else if (arg == "--help" || arg == "-h") {
            usage(stdout);
            std::exit(0);
        } else {
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    SimOptions options;
    if (!parse(argc, argv, &options)) {
        usage(stderr);
        return 2;
    }

    // Qt's JSON and text classes want an application object; no event loop runs.
    QCoreApplication app(argc, argv);

    // The stop signals are taken by sigwait below; every thread made from here on inherits the mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    SimServer server(options);
    const int port = server.bind();
    if (port <= 0) {
        std::fprintf(stderr, "workspace-sim: cannot bind 127.0.0.1:%d\n", options.port);
        return 1;
    }
    std::printf("listening on 127.0.0.1:%d\n", port);
    std::fflush(stdout);
    std::fprintf(stderr, "workspace-sim: workspace at http://127.0.0.1:%d%s, control API at /sim/%s\n", port,
                 server.options().base.c_str(), options.demo ? ", demo company on" : "");

    std::promise<bool> served;
    std::future<bool> done = served.get_future();
    std::thread serving([&] {
        const bool ok = server.run();
        served.set_value(ok);
        // If serving ends by itself, wake the main thread as a signal would.
        kill(getpid(), SIGTERM);
    });

    int received = 0;
    sigwait(&stopSignals, &received);
    std::fprintf(stderr, "workspace-sim: %s, stopping\n", received == SIGINT ? "SIGINT" : "SIGTERM");
    server.stop();

    // Handlers watch the stop signal, but an idle keep-alive connection holds its worker for up to
    // its time-out; past that bound the process ends without waiting for it.
    if (done.wait_for(std::chrono::seconds(2)) != std::future_status::ready) {
        std::fprintf(stderr, "workspace-sim: stopped (idle connections left behind)\n");
        std::fflush(stderr);
        _exit(0);
    }
    serving.join();
    std::fprintf(stderr, "workspace-sim: stopped\n");
    return 0;
}
