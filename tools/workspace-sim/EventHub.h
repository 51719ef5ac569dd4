#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <queue>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
class DataSink;
}

// The event stream's server side: the open streams and what waits to be written to each, the
// keep-alive comments, one timer thread for events due later, and the stop signal that every
// waiting handler watches so that the process ends promptly on SIGTERM.
class EventHub {
public:
    using Clock = std::chrono::steady_clock;

    struct StreamSettings {
        int keepaliveMs = 15000; // 0: no keep-alive comments at all
        std::string lineEnd = "\n";
    };

    // One open stream. Bytes wait in `queue` until the stream's handler thread writes them.
    struct Subscriber {
        struct Chunk {
            std::string text;
            std::size_t repeat = 1;
        };
        std::deque<Chunk> queue;
        std::size_t queuedBytes = 0;
        bool closing = false;
        bool cleanClose = true;
        Clock::time_point lastWrite = Clock::now();
    };

    static constexpr std::size_t maxQueuedBytes = 96u * 1024u * 1024u;
    static constexpr std::size_t maxQueuedChunks = 20000;
    static constexpr std::size_t maxScheduled = 20000;
    static constexpr std::size_t maxStreams = 64;

    EventHub();
    ~EventHub();
    EventHub(const EventHub&) = delete;
    EventHub& operator=(const EventHub&) = delete;

    // Wakes every waiter and ends the timer thread. Nothing is published after this.
    void stop();
    bool stopping() const;
    // Sleeps, but returns false at once when the hub stops.
    bool sleepFor(std::chrono::milliseconds duration) const;
    bool sleepUntil(Clock::time_point deadline) const;

    std::shared_ptr<Subscriber> subscribe();
    void unsubscribe(const std::shared_ptr<Subscriber>& subscriber);
    // Called by httplib again and again for one open stream: writes what is queued, or a
    // keep-alive comment when due, or waits a little. False ends the connection without the
    // closing chunk, as a lost connection would.
    bool pump(Subscriber& subscriber, httplib::DataSink& sink);

    // One server-sent event; each line of `data` becomes a "data:" line.
    void publishEvent(const std::string& name, const std::string& data);
    // Bytes as they stand, `text` written `repeat` times, between prefix and suffix.
    void publishRaw(const std::string& prefix, const std::string& text, std::size_t repeat,
                    const std::string& suffix);
    // Ends every open stream, with the closing chunk or without.
    void closeAll(bool clean);
    int streamCount() const;

    StreamSettings settings() const;
    void setSettings(const StreamSettings& settings);

    // Runs `task` on the timer thread after the delay. False when the queue is full or stopped.
    bool schedule(std::chrono::milliseconds delay, std::function<void()> task);
    // Forgets every task not yet run (a reset of the simulator).
    void cancelScheduled();
    std::size_t scheduledCount() const;

private:
    struct Timed {
        Clock::time_point due;
        std::uint64_t seq;
        std::function<void()> task;
        bool operator>(const Timed& other) const {
            return due != other.due ? due > other.due : seq > other.seq;
        }
    };

    void push(Subscriber::Chunk chunk);
    void runTimer();

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    bool stopping_ = false;
    std::vector<std::shared_ptr<Subscriber>> subscribers_;
    StreamSettings settings_;
    std::uint64_t nextEventId_ = 1;

    mutable std::mutex timerMutex_;
    std::condition_variable timerChanged_;
    std::priority_queue<Timed, std::vector<Timed>, std::greater<>> timed_;
    std::uint64_t nextSeq_ = 0;
    std::thread timer_;
};
