#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace lumivale {

using Seconds = std::chrono::duration<double>;

// Stops blocking work from any thread. Copies are handles on the same token. A child
// token is cancelled with its parent (never the other way round) and may carry a
// deadline of its own; a deadline is a budget that cuts each step's own timeout to what
// remains, so a step that runs out has timed out rather than been cancelled. What must
// be stopped at once (a child process, a socket) is held while the work runs.
class StopToken {
  struct State;

 public:
  using Clock = std::chrono::steady_clock;

  // A token of its own, with no deadline.
  StopToken();
  // A token of its own that leaves `budget` for all its steps from now.
  static StopToken within(Seconds budget);

  // Cancelled with this token; with a budget, also bound by a deadline of its own.
  StopToken child() const;
  StopToken child(Seconds budget) const;

  // Marks the token and its children cancelled and stops everything they hold. Any
  // thread, any time, as often as wanted.
  void cancel() const;
  bool isCancelled() const;
  // Throws Cancelled once the token is cancelled.
  void throwIfCancelled() const;

  // The earliest deadline along the chain, if any.
  std::optional<Clock::time_point> deadline() const;
  // `step` cut to what is left before the deadline (never below zero).
  Seconds budget(Seconds step) const;

  // Keeps `stop` to be called once if the token is cancelled while the hold lives. When
  // the token is already cancelled, `stop` is called at once. Releasing a hold waits for
  // a `stop` already under way, so whatever it touches may be freed right after.
  class Hold {
   public:
    Hold() = default;
    Hold(Hold&& other) noexcept;
    Hold& operator=(Hold&& other) noexcept;
    ~Hold();
    void release();

   private:
    friend class StopToken;
    Hold(std::shared_ptr<State> state, std::uint64_t id) : state_(std::move(state)), id_(id) {}
    std::shared_ptr<State> state_;
    std::uint64_t id_ = 0;
  };
  [[nodiscard]] Hold hold(std::function<void()> stop) const;
  // Shuts a socket down on cancel, so a blocked read or write on it returns.
  [[nodiscard]] Hold holdSocket(int fd) const;

 protected:
  // Replaces what was attached before with `stop`, kept until the next attach or the
  // token's end; false (and nothing kept) when the token is already cancelled.
  bool attachOnly(std::function<void()> stop) const;

 private:
  explicit StopToken(std::shared_ptr<State> state) : state_(std::move(state)) {}
  std::shared_ptr<State> state_;
};

}  // namespace lumivale
