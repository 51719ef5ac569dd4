#include "EventHub.h"

#include <httplib.h>

#include <algorithm>

namespace {

// The longest single wait of a stream's handler; it bounds how late a stop is noticed.
constexpr auto pumpSlice = std::chrono::milliseconds(250);
constexpr std::size_t writeSlice = 64 * 1024;

} // namespace

EventHub::EventHub() : timer_([this] { runTimer(); }) {}

EventHub::~EventHub() {
    stop();
}

void EventHub::stop() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    { std::lock_guard lock(timerMutex_); }
    timerChanged_.notify_all();
    if (timer_.joinable() && timer_.get_id() != std::this_thread::get_id())
        timer_.join();
}

bool EventHub::stopping() const {
    std::lock_guard lock(mutex_);
    return stopping_;
}

bool EventHub::sleepFor(std::chrono::milliseconds duration) const {
    return sleepUntil(Clock::now() + duration);
}

bool EventHub::sleepUntil(Clock::time_point deadline) const {
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, deadline, [&] { return stopping_; });
    return !stopping_;
}

std::shared_ptr<EventHub::Subscriber> EventHub::subscribe() {
    std::lock_guard lock(mutex_);
    if (stopping_ || subscribers_.size() >= maxStreams)
        return nullptr;
    auto subscriber = std::make_shared<Subscriber>();
    // A first comment, so that the client's reader sees bytes at once and not only headers.
    const std::string hello = ": connected" + settings_.lineEnd + settings_.lineEnd;
    subscriber->queue.push_back({hello, 1});
    subscriber->queuedBytes = hello.size();
    subscribers_.push_back(subscriber);
    return subscriber;
}

void EventHub::unsubscribe(const std::shared_ptr<Subscriber>& subscriber) {
    std::lock_guard lock(mutex_);
    std::erase(subscribers_, subscriber);
}

bool EventHub::pump(Subscriber& subscriber, httplib::DataSink& sink) {
    std::unique_lock lock(mutex_);
    const auto keepalive = std::chrono::milliseconds(settings_.keepaliveMs);
    auto wakeAt = Clock::now() + pumpSlice;
    if (settings_.keepaliveMs > 0)
        wakeAt = std::min(wakeAt, subscriber.lastWrite + keepalive);
    changed_.wait_until(lock, wakeAt,
                        [&] { return stopping_ || subscriber.closing || !subscriber.queue.empty(); });

    if (stopping_) {
        lock.unlock();
        sink.done();
        return true;
    }
    if (!subscriber.queue.empty()) {
        Subscriber::Chunk chunk = std::move(subscriber.queue.front());
        subscriber.queue.pop_front();
        subscriber.queuedBytes -= std::min(subscriber.queuedBytes, chunk.text.size() * chunk.repeat);
        lock.unlock();

        if (chunk.repeat <= 1 || chunk.text.empty()) {
            if (!chunk.text.empty() && !sink.write(chunk.text.data(), chunk.text.size()))
                return false;
        } else {
            // A huge repeated text goes out in slices, so that it never sits in memory whole.
            std::string slice;
            const std::size_t perSlice = std::max<std::size_t>(1, writeSlice / chunk.text.size());
            std::size_t left = chunk.repeat;
            while (left > 0) {
                const std::size_t now = std::min(left, perSlice);
                if (slice.size() != now * chunk.text.size()) {
                    slice.clear();
                    for (std::size_t i = 0; i < now; ++i)
                        slice += chunk.text;
                }
                if (stopping() || !sink.write(slice.data(), slice.size()))
                    return false;
                left -= now;
            }
        }
        std::lock_guard relock(mutex_);
        subscriber.lastWrite = Clock::now();
        return true;
    }
    if (subscriber.closing) {
        const bool clean = subscriber.cleanClose;
        lock.unlock();
        if (!clean)
            return false;
        sink.done();
        return true;
    }
    if (settings_.keepaliveMs > 0 && Clock::now() >= subscriber.lastWrite + keepalive) {
        const std::string comment = ": keep-alive" + settings_.lineEnd + settings_.lineEnd;
        subscriber.lastWrite = Clock::now();
        lock.unlock();
        return sink.write(comment.data(), comment.size());
    }
    return true;
}

void EventHub::push(Subscriber::Chunk chunk) {
    {
        std::lock_guard lock(mutex_);
        if (stopping_)
            return;
        const std::size_t size = chunk.text.size() * chunk.repeat;
        for (const auto& subscriber : subscribers_) {
            if (subscriber->closing)
                continue;
            // A reader that has stopped reading is cut off rather than buffered for ever.
            if (subscriber->queue.size() >= maxQueuedChunks ||
                subscriber->queuedBytes + size > maxQueuedBytes) {
                subscriber->queue.clear();
                subscriber->queuedBytes = 0;
                subscriber->closing = true;
                subscriber->cleanClose = false;
                continue;
            }
            subscriber->queue.push_back(chunk);
            subscriber->queuedBytes += size;
        }
    }
    changed_.notify_all();
}

void EventHub::publishEvent(const std::string& name, const std::string& data) {
    std::string lineEnd;
    std::uint64_t id = 0;
    {
        std::lock_guard lock(mutex_);
        lineEnd = settings_.lineEnd;
        id = nextEventId_++;
    }
    // A line break in the data makes a second "data:" line, as the format wants.
    std::string event = "id: " + std::to_string(id) + lineEnd + "event: " + name + lineEnd;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = data.find('\n', start);
        event += "data: " + data.substr(start, end == std::string::npos ? std::string::npos : end - start) +
                 lineEnd;
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    push({event + lineEnd, 1});
}

void EventHub::publishRaw(const std::string& prefix, const std::string& text, std::size_t repeat,
                          const std::string& suffix) {
    if (!prefix.empty())
        push({prefix, 1});
    if (!text.empty() && repeat > 0)
        push({text, repeat});
    if (!suffix.empty())
        push({suffix, 1});
}

void EventHub::closeAll(bool clean) {
    {
        std::lock_guard lock(mutex_);
        for (const auto& subscriber : subscribers_) {
            subscriber->closing = true;
            subscriber->cleanClose = clean;
            if (!clean) {
                subscriber->queue.clear();
                subscriber->queuedBytes = 0;
            }
        }
    }
    changed_.notify_all();
}

int EventHub::streamCount() const {
    std::lock_guard lock(mutex_);
    return static_cast<int>(std::count_if(subscribers_.begin(), subscribers_.end(),
                                          [](const auto& subscriber) { return !subscriber->closing; }));
}

EventHub::StreamSettings EventHub::settings() const {
    std::lock_guard lock(mutex_);
    return settings_;
}

void EventHub::setSettings(const StreamSettings& settings) {
    {
        std::lock_guard lock(mutex_);
        settings_ = settings;
    }
    changed_.notify_all();
}

bool EventHub::schedule(std::chrono::milliseconds delay, std::function<void()> task) {
    {
        std::lock_guard lock(timerMutex_);
        if (stopping() || timed_.size() >= maxScheduled)
            return false;
        timed_.push(
            Timed{Clock::now() + std::max(delay, std::chrono::milliseconds(0)), nextSeq_++, std::move(task)});
    }
    timerChanged_.notify_all();
    return true;
}

void EventHub::cancelScheduled() {
    std::lock_guard lock(timerMutex_);
    timed_ = {};
}

std::size_t EventHub::scheduledCount() const {
    std::lock_guard lock(timerMutex_);
    return timed_.size();
}

void EventHub::runTimer() {
    std::unique_lock lock(timerMutex_);
    while (!stopping()) {
        if (timed_.empty()) {
            timerChanged_.wait_for(lock, pumpSlice);
            continue;
        }
        const auto due = timed_.top().due;
        if (Clock::now() < due) {
            timerChanged_.wait_until(lock, std::min(due, Clock::now() + pumpSlice));
            continue;
        }
        auto task = std::move(const_cast<Timed&>(timed_.top()).task);
        timed_.pop();
        lock.unlock();
        task();
        lock.lock();
    }
}
