#include "app/shell/background_work.h"

#include <exception>
#include <memory>

#include <QMetaObject>

#include "companion/worded_error.h"
#include "core/cancelled.h"

namespace lumivale::app {

BackgroundWork::BackgroundWork(QObject* receiver) : receiver_(receiver) {
  pool_.setMaxThreadCount(1);
  // The worker may wait on adb for a long while; it must never be reclaimed meanwhile.
  pool_.setExpiryTimeout(-1);
}

BackgroundWork::~BackgroundWork() {
  finish();
}

void BackgroundWork::finish() {
  stop_.cancel();
  pool_.waitForDone();
}

void BackgroundWork::run(std::function<void(const StopToken&)> work, std::function<void()> done,
                         std::function<void(const std::string&)> failed) {
  post(
      [this, work = std::move(work), done = std::move(done)] {
        work(stop_);
        deliver(done);
      },
      std::move(failed));
}

void BackgroundWork::post(std::function<void()> work,
                          std::function<void(const std::string&)> failed) {
  pool_.start([this, work = std::move(work), failed = std::move(failed)] {
    if (stop_.isCancelled()) return;
    try {
      work();
    } catch (const Cancelled&) {
      // Cancelled work was given up on purpose: nobody waits for its result.
    } catch (const std::exception& error) {
      if (!stop_.isCancelled())
        deliver([failed, message = companion::wordedMessage(error)] { failed(message); });
    }
  });
}

void BackgroundWork::deliver(std::function<void()> onMainThread) {
  // The receiver outlives this object's worker (the destructor waits for it), and a
  // call queued to a receiver destroyed meanwhile is dropped by Qt.
  QMetaObject::invokeMethod(receiver_, std::move(onMainThread), Qt::QueuedConnection);
}

}  // namespace lumivale::app
