#pragma once

#include <QCoroTask>
#include <QEventLoop>
#include <exception>
#include <optional>
#include <type_traits>

// Runs a task to its end on a nested event loop and gives its result, or throws what it threw.
// QCoro's own waitFor never returns when the task throws, and tests of failures need exactly that case.
namespace testsupport {

namespace detail {
template <typename T> struct Outcome {
    std::conditional_t<std::is_void_v<T>, bool, std::optional<T>> value{};
    std::exception_ptr failure;
    bool done = false;
};

template <typename T> QCoro::Task<> capture(QCoro::Task<T> task, Outcome<T>& outcome, QEventLoop& loop) {
    try {
        if constexpr (std::is_void_v<T>)
            co_await std::move(task);
        else
            outcome.value = co_await std::move(task);
    } catch (...) {
        outcome.failure = std::current_exception();
    }
    outcome.done = true;
    loop.quit();
}
} // namespace detail

template <typename T> T await(QCoro::Task<T> task) {
    QEventLoop loop;
    detail::Outcome<T> outcome;
    const QCoro::Task<> runner = detail::capture(std::move(task), outcome, loop);
    if (!outcome.done) loop.exec();
    if (outcome.failure) std::rethrow_exception(outcome.failure);
    if constexpr (!std::is_void_v<T>) return std::move(*outcome.value);
}

} // namespace testsupport
