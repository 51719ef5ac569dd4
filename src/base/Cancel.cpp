#include "base/Cancel.h"

#include <vector>

namespace base {

Cancel::Cancel() : state(std::make_shared<State>()) {}

void Cancel::cancel() {
    if (state->cancelled) {
        return;
    }
    state->cancelled = true;
    // Callbacks may end subscriptions, their own included, so they run from a copy.
    std::vector<std::function<void()>> callbacks;
    for (auto& [id, fn] : state->callbacks) {
        callbacks.push_back(fn);
    }
    state->callbacks.clear();
    for (auto& fn : callbacks) {
        fn();
    }
}

bool Cancel::isCancelled() const {
    return state->cancelled;
}

Cancel::Subscription Cancel::onCancel(std::function<void()> fn) const {
    Subscription subscription;
    if (state->cancelled) {
        fn();
        return subscription;
    }
    subscription.id = state->next++;
    subscription.state = state;
    state->callbacks.emplace(subscription.id, std::move(fn));
    return subscription;
}

Cancel::Subscription& Cancel::Subscription::operator=(Subscription&& other) noexcept {
    if (this != &other) {
        reset();
        state = std::move(other.state);
        id = other.id;
        other.id = 0;
    }
    return *this;
}

Cancel::Subscription::~Subscription() {
    reset();
}

void Cancel::Subscription::reset() {
    if (auto locked = state.lock()) {
        locked->callbacks.erase(id);
    }
    state.reset();
    id = 0;
}

} // namespace base
