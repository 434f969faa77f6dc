#pragma once

#include <functional>
#include <utility>

namespace lumivale {

// How the core tells a front end about progress and events as they happen: transfers
// now, and the same way for the clipboard link, the sync run and the folder watcher.
// Each feature names its own event type (TransferProgress, ...).
//
// Thread contract, kept by every producer in the core:
// - notify() is called on the thread doing the work: the caller's thread for a
//   blocking operation (which a front end runs off its main thread), or the reader
//   thread of a long-lived child. Never on a thread the front end did not give.
// - Events to one observer come in order, one call at a time.
// - Never while a lock of the core is held, so an observer may call back into the core.
// - notify() returns quickly and does not throw: a front end with a main thread hands
//   the event over to it (a queued call) and returns; a terminal front end may draw.
template <typename Event>
class Observer {
 public:
  virtual ~Observer() = default;
  virtual void notify(const Event& event) = 0;
};

// An observer made of a function, for small callers and tests.
template <typename Event>
class ObserverFunction final : public Observer<Event> {
 public:
  explicit ObserverFunction(std::function<void(const Event&)> function)
      : function_(std::move(function)) {}
  void notify(const Event& event) override { function_(event); }

 private:
  std::function<void(const Event&)> function_;
};

}  // namespace lumivale
