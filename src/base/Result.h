#pragma once

#include <type_traits>
#include <utility>
#include <variant>

namespace base {

// A value or a typed error. Errors carry their own text, so nothing upstream needs a sentinel.
template <typename T, typename E> class [[nodiscard]] Result {
public:
    // An empty result is an error, so that nothing reads a value that never came.
    Result() requires std::is_default_constructible_v<E> : content(std::in_place_index<1>) {}
    Result(T value) : content(std::in_place_index<0>, std::move(value)) {}
    Result(E error) : content(std::in_place_index<1>, std::move(error)) {}

    bool ok() const { return content.index() == 0; }
    explicit operator bool() const { return ok(); }

    const T& value() const& { return std::get<0>(content); }
    T& value() & { return std::get<0>(content); }
    T&& value() && { return std::get<0>(std::move(content)); }
    const E& error() const& { return std::get<1>(content); }

    const T* operator->() const { return &value(); }
    const T& operator*() const { return value(); }

private:
    std::variant<T, E> content;
};

} // namespace base
