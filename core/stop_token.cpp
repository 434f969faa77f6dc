#include "core/stop_token.h"

#include <sys/socket.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "core/cancelled.h"

namespace lumivale {

struct StopToken::State {
  std::mutex mutex;
  std::condition_variable stopped;  // a hold's stop has returned
  bool cancelled = false;
  std::optional<Clock::time_point> deadline;
  std::map<std::uint64_t, std::function<void()>> holds;
  std::uint64_t nextHold = 1;
  std::uint64_t firing = 0;    // the hold whose stop runs now, outside the mutex
  std::uint64_t attached = 0;  // the hold of attachOnly
  std::vector<std::weak_ptr<State>> children;

  void cancel() {
    std::vector<std::weak_ptr<State>> reached;
    std::unique_lock lock(mutex);
    if (cancelled) return;
    cancelled = true;
    // Each stop runs outside the mutex (it may block briefly, or touch the token);
    // `firing` makes a release of that hold wait until it has returned.
    while (!holds.empty()) {
      auto first = holds.begin();
      auto stop = std::move(first->second);
      firing = first->first;
      holds.erase(first);
      lock.unlock();
      if (stop) stop();
      lock.lock();
      firing = 0;
      stopped.notify_all();
    }
    reached.swap(children);
    lock.unlock();
    for (auto& each : reached)
      if (auto child = each.lock()) child->cancel();
  }

  void release(std::uint64_t id) {
    std::function<void()> dropped;
    std::unique_lock lock(mutex);
    stopped.wait(lock, [&] { return firing != id; });
    auto found = holds.find(id);
    if (found == holds.end()) return;
    dropped = std::move(found->second);
    holds.erase(found);
    lock.unlock();  // what the stop captured is freed outside the mutex
  }
};

StopToken::StopToken() : state_(std::make_shared<State>()) {}

StopToken StopToken::within(Seconds budget) {
  StopToken token;
  token.state_->deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(budget);
  return token;
}

StopToken StopToken::child() const {
  auto made = std::make_shared<State>();
  made->deadline = state_->deadline;
  std::lock_guard lock(state_->mutex);
  made->cancelled = state_->cancelled;
  auto& children = state_->children;
  std::erase_if(children, [](const std::weak_ptr<State>& each) { return each.expired(); });
  if (!made->cancelled) children.push_back(made);
  return StopToken(std::move(made));
}

StopToken StopToken::child(Seconds budget) const {
  StopToken made = child();
  auto own = Clock::now() + std::chrono::duration_cast<Clock::duration>(budget);
  auto& deadline = made.state_->deadline;
  deadline = deadline ? std::min(*deadline, own) : own;
  return made;
}

void StopToken::cancel() const {
  state_->cancel();
}

bool StopToken::isCancelled() const {
  std::lock_guard lock(state_->mutex);
  return state_->cancelled;
}

void StopToken::throwIfCancelled() const {
  if (isCancelled()) throw Cancelled();
}

std::optional<StopToken::Clock::time_point> StopToken::deadline() const {
  return state_->deadline;
}

Seconds StopToken::budget(Seconds step) const {
  if (!state_->deadline) return step;
  Seconds left = *state_->deadline - Clock::now();
  return std::clamp(left, Seconds(0), step);
}

StopToken::Hold StopToken::hold(std::function<void()> stop) const {
  {
    std::lock_guard lock(state_->mutex);
    if (!state_->cancelled) {
      auto id = state_->nextHold++;
      state_->holds.emplace(id, std::move(stop));
      return Hold(state_, id);
    }
  }
  if (stop) stop();
  return {};
}

StopToken::Hold StopToken::holdSocket(int fd) const {
  return hold([fd] { ::shutdown(fd, SHUT_RDWR); });
}

bool StopToken::attachOnly(std::function<void()> stop) const {
  std::uint64_t previous = 0;
  {
    std::lock_guard lock(state_->mutex);
    if (state_->cancelled) return false;
    previous = state_->attached;
    state_->attached = state_->nextHold++;
    state_->holds.emplace(state_->attached, std::move(stop));
  }
  if (previous) state_->release(previous);
  return true;
}

StopToken::Hold::Hold(Hold&& other) noexcept
    : state_(std::move(other.state_)), id_(std::exchange(other.id_, 0)) {}

StopToken::Hold& StopToken::Hold::operator=(Hold&& other) noexcept {
  if (this != &other) {
    release();
    state_ = std::move(other.state_);
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

StopToken::Hold::~Hold() {
  release();
}

void StopToken::Hold::release() {
  if (state_ && id_) state_->release(id_);
  state_.reset();
  id_ = 0;
}

}  // namespace lumivale
