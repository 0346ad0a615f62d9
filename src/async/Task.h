// Task: a handler that may yield or wait, as a C++20 coroutine.
//
// A Task does nothing until it is awaited by another Task or given to TaskLoop::Spawn; then it runs in place up to its
// first wait. An exception leaves through the awaiting Task; at the root TaskLoop swallows a Failure. Destroying a Task
// destroys its frame and every frame it awaits, so one dropped in the middle of a wait leaks nothing.
// Take parameters by value, and begin a member coroutine of a window with `const auto hold = Hold();`, which keeps the
// window alive.
#pragma once

#include <coroutine>
#include <exception>
#include <optional>
#include <utility>

namespace pellora {

template <class T = void>
class Task;

namespace detail {

struct PromiseBase {
  std::coroutine_handle<> continuation;
  std::exception_ptr error;

  std::suspend_always initial_suspend() noexcept { return {}; }
  struct FinalAwaiter {
    bool await_ready() noexcept { return false; }
    template <class Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> ended) noexcept {
      const std::coroutine_handle<> next = ended.promise().continuation;
      return next ? next : std::noop_coroutine();
    }
    void await_resume() noexcept {}
  };
  FinalAwaiter final_suspend() noexcept { return {}; }
  void unhandled_exception() noexcept { error = std::current_exception(); }
};

template <class T>
struct Promise : PromiseBase {
  std::optional<T> value;
  Task<T> get_return_object();
  void return_value(T result) { value = std::move(result); }
  T Take() { return std::move(*value); }
};

template <>
struct Promise<void> : PromiseBase {
  Task<void> get_return_object();
  void return_void() noexcept {}
  void Take() noexcept {}
};

}  // namespace detail

template <class T>
class [[nodiscard]] Task {
 public:
  using promise_type = detail::Promise<T>;
  using Handle = std::coroutine_handle<promise_type>;

  explicit Task(Handle handle) : handle_(handle) {}
  Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, {})) {}
  Task& operator=(Task&& other) noexcept {
    if (this != &other) {
      Destroy();
      handle_ = std::exchange(other.handle_, {});
    }
    return *this;
  }
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;
  ~Task() { Destroy(); }

  bool Done() const { return !handle_ || handle_.done(); }
  void Start() { handle_.resume(); }
  // What the ended coroutine threw, or null.
  std::exception_ptr Error() const { return handle_ ? handle_.promise().error : nullptr; }

  bool await_ready() const noexcept { return Done(); }
  std::coroutine_handle<> await_suspend(std::coroutine_handle<> waiting) noexcept {
    handle_.promise().continuation = waiting;
    return handle_;
  }
  T await_resume() {
    if (handle_.promise().error) std::rethrow_exception(handle_.promise().error);
    return handle_.promise().Take();
  }

 private:
  void Destroy() {
    if (handle_) handle_.destroy();
    handle_ = {};
  }

  Handle handle_;
};

namespace detail {

template <class T>
Task<T> Promise<T>::get_return_object() {
  return Task<T>(std::coroutine_handle<Promise<T>>::from_promise(*this));
}

inline Task<void> Promise<void>::get_return_object() {
  return Task<void>(std::coroutine_handle<Promise<void>>::from_promise(*this));
}

}  // namespace detail

}  // namespace pellora
