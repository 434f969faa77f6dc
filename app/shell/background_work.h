#pragma once

#include <functional>
#include <string>
#include <utility>

#include <QObject>
#include <QThreadPool>

#include "core/stop_token.h"

namespace lumivale::app {

// Runs a controller's core calls off the main thread, one at a time and in order, and
// hands each result or failure back to the main thread. Destroying it cancels the work
// under way and waits for it, so the work may use the controller's members: declare it
// last in the controller, so it goes first.
class BackgroundWork {
 public:
  explicit BackgroundWork(QObject* receiver);
  BackgroundWork(const BackgroundWork&) = delete;
  BackgroundWork& operator=(const BackgroundWork&) = delete;
  ~BackgroundWork();

  // Cancels the work under way and waits for it; nothing more runs after.
  void finish();

  // The token every piece of work runs under; cancelled when this goes.
  const StopToken& stop() const { return stop_; }

  // `work` runs on the worker thread; `done` gets its result on the main thread, or
  // `failed` the sentence for a person. A cancelled piece of work reports nothing.
  template <class Result>
  void run(std::function<Result(const StopToken&)> work, std::function<void(Result)> done,
           std::function<void(const std::string&)> failed) {
    post(
        [this, work = std::move(work), done = std::move(done)] {
          auto result = std::make_shared<Result>(work(stop_));
          deliver([done, result] { done(std::move(*result)); });
        },
        std::move(failed));
  }
  void run(std::function<void(const StopToken&)> work, std::function<void()> done,
           std::function<void(const std::string&)> failed);

 private:
  void post(std::function<void()> work, std::function<void(const std::string&)> failed);
  void deliver(std::function<void()> onMainThread);

  QObject* const receiver_;
  const StopToken stop_;
  QThreadPool pool_;
};

}  // namespace lumivale::app
