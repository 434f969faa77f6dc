#include "core/clipboard/shared_clipboard.h"

#include <fmt/format.h>

#include "core/clipboard/clip_error.h"
#include "core/clipboard/clip_helper.h"
#include "core/clipboard/clip_wire.h"
#include "core/clipboard/clipboard_history.h"
#include "core/overloaded.h"

namespace lumivale {
namespace {

using Kind = SharedClipboardEvent::Kind;

// The helper starts a runtime on the tablet: seconds on a slow one.
constexpr Seconds kReadyTimeout{30};
constexpr Seconds kWriteTimeout{5};
constexpr Seconds kFinishTimeout{5};
// Between attempts while adb still lists a tablet that is going away.
constexpr Seconds kRetryPause{1};

SharedClipboardEvent event(Kind kind, std::string text = {}) {
  return {.kind = kind, .text = std::move(text)};
}

}  // namespace

SharedClipboard::SharedClipboard(ClipRunners runners, ClipTabletWait& tabletWait,
                                 ClipPasteboard& pasteboard, Options options,
                                 Observer<SharedClipboardEvent>& events)
    : runners_(runners),
      tabletWait_(tabletWait),
      pasteboard_(pasteboard),
      options_(std::move(options)),
      events_(events) {}

SharedClipboard::~SharedClipboard() {
  stop();
}

void SharedClipboard::start() {
  {
    std::lock_guard guard(lock_);
    if (closed_) throw ClipError("this shared clipboard was stopped");
    if (worker_.joinable()) return;
  }
  if (options_.unencryptedWifi) {
    const std::string why =
        "Paused: your Lumivale is on unencrypted Wi-Fi. Plug in the cable, or set up encrypted "
        "Wi-Fi in Devices.";
    emit(event(Kind::paused, why));
    throw ClipError(why);
  }
  emit(event(Kind::preparing));
  ClipHelper::ensureInstalled(runners_.shell, runners_.files, options_.serial, &stop_);
  // Only what is copied from now on goes across.
  state_.lastMacChangeCount = pasteboard_.changeCount();
  launch(std::nullopt);
  awaitReady(kReadyTimeout);
  std::lock_guard guard(lock_);
  // Stopped once it said it syncs (a Ctrl-C right after "On" showed): the start did its
  // part, and the stop has ended the link.
  if (closed_) return;
  worker_ = std::thread([this] { run(); });
}

void SharedClipboard::stop() {
  {
    std::lock_guard guard(lock_);
    if (closed_) return;
    closed_ = true;
    stopping_ = true;
  }
  if (auto helper = current()) helper->finish(kFinishTimeout);
  // Ends a launch or a wait for the tablet under way.
  stop_.cancel();
  changed_.notify_all();
  if (worker_.joinable()) worker_.join();
  {
    std::lock_guard guard(lock_);
    current_.reset();
  }
  emit(event(Kind::stopped));
}

bool SharedClipboard::waitForFailure(const StopToken& stop) {
  auto hold = stop.hold([this] {
    std::lock_guard guard(lock_);
    changed_.notify_all();
  });
  std::unique_lock guard(lock_);
  changed_.wait(guard, [&] { return failed_ || stop.isCancelled(); });
  return failed_;
}

void SharedClipboard::launch(std::optional<std::int64_t> since) {
  auto helper = std::make_shared<ClipHelperProcess>(
      runners_.streams,
      ClipHelperProcess::Options{.serial = options_.serial,
                                 .since = since,
                                 .pingInterval = options_.pingInterval,
                                 .answerWait = options_.pingInterval},
      &stop_);
  // Only the current helper is read: whatever an earlier one still says goes nowhere.
  std::lock_guard guard(lock_);
  current_ = std::move(helper);
}

void SharedClipboard::awaitReady(Seconds timeout) {
  auto helper = current();
  const auto giveUp =
      StopToken::Clock::now() + std::chrono::duration_cast<StopToken::Clock::duration>(timeout);
  while (true) {
    auto line = helper->nextLine(giveUp - StopToken::Clock::now());
    stop_.throwIfCancelled();
    if (!line) {
      if (auto end = helper->ended())
        throw ClipError(ClipHelper::endText(*end, false, options_.serial));
      throw ClipError(
          fmt::format("the clipboard helper did not start on {}: no answer within {:g} s",
                      options_.serial, timeout.count()));
    }
    const ClipWire::Decoded decoded = ClipWire::decodeLine(*line);
    if (auto* ready = std::get_if<ClipWire::Ready>(&decoded.incoming)) {
      emit(event(Kind::syncing, ready->mode));
      return;
    }
    if (auto* failed = std::get_if<ClipWire::Failed>(&decoded.incoming))
      throw ClipError(fmt::format("the clipboard helper did not start on {}: {}", options_.serial,
                                  failed->message));
  }
}

void SharedClipboard::run() {
  auto nextPoll = StopToken::Clock::now();
  while (!stopping_) {
    auto helper = current();
    const auto wait =
        std::max(StopToken::Clock::duration::zero(), nextPoll - StopToken::Clock::now());
    if (auto line = helper->nextLine(std::chrono::duration_cast<Seconds>(wait))) {
      handleLine(*line);
    } else if (helper->ended()) {
      if (stopping_ || !helperEnded()) return;
      continue;
    }
    if (StopToken::Clock::now() >= nextPoll) {
      poll();
      nextPoll = StopToken::Clock::now() +
                 std::chrono::duration_cast<StopToken::Clock::duration>(options_.pollInterval);
    }
  }
}

void SharedClipboard::handleLine(const std::string& line) {
  ClipWire::Decoded decoded;
  try {
    decoded = ClipWire::decodeLine(line);
  } catch (const ClipError& undecodable) {
    emit(event(Kind::problem, undecodable.message()));
    return;
  }
  std::visit(
      Overloaded{
          [&](const ClipWire::Clip& clip) {
            if (clip.reply) return;
            if (decoded.at) lastClipAt_ = decoded.at;
            const auto decision = state_.tabletChanged(clip.text);
            if (auto* apply = std::get_if<ClipSyncState::Apply>(&decision))
              this->apply(apply->text);
          },
          [&](const ClipWire::Skipped& skipped) {
            if (skipped.reply) {
              auto decision = state_.setRefused(skipped.reason);
              const auto& skip = std::get<ClipSyncState::Skip>(decision);
              emit({.kind = Kind::skipped, .text = skip.reason, .direction = skip.direction});
              return;
            }
            if (decoded.at) lastClipAt_ = decoded.at;
            emit({.kind = Kind::skipped,
                  .text = ClipWire::reasonText(skipped.reason),
                  .direction = ClipDirection::lumivaleToMac});
          },
          [&](const ClipWire::Ack&) {
            if (auto text = state_.setAcknowledged()) carried(ClipDirection::macToLumivale, *text);
          },
          [&](const ClipWire::Failed& failed) { emit(event(Kind::problem, failed.message)); },
          [](const auto&) {}},
      decoded.incoming);
}

void SharedClipboard::poll() {
  if (options_.pollGate) options_.pollGate();
  ClipSyncState::Decision decision;
  try {
    decision = state_.macChanged(pasteboard_.changeCount(), [this] { return pasteboard_.read(); });
  } catch (const ClipError& unreadable) {
    emit(event(Kind::problem, unreadable.message()));
    return;
  }
  std::visit(
      Overloaded{[&](const ClipSyncState::Send& send) {
                   std::string line;
                   try {
                     line = ClipWire::setLine(send.text);
                   } catch (const ClipError&) {
                     state_.pendingSets.pop_back();
                     state_.lastToLumivale.reset();
                     emit({.kind = Kind::skipped, .text = "not plain text"});
                     return;
                   }
                   // One that cannot take it has ended: the reader says why.
                   current()->send(line, kWriteTimeout);
                 },
                 [&](const ClipSyncState::Apply& apply) { this->apply(apply.text); },
                 [&](const ClipSyncState::Skip& skip) {
                   emit({.kind = Kind::skipped, .text = skip.reason, .direction = skip.direction});
                 },
                 [](std::monostate) {}},
      decision);
}

void SharedClipboard::apply(const std::string& text) {
  try {
    state_.ownWriteChangeCount = pasteboard_.write(text);
  } catch (const ClipError& refused) {
    emit({.kind = Kind::skipped,
          .text = refused.message(),
          .direction = ClipDirection::lumivaleToMac});
    return;
  }
  carried(ClipDirection::lumivaleToMac, text);
}

void SharedClipboard::carried(ClipDirection direction, const std::string& text) {
  const auto at = std::chrono::system_clock::now();
  emit({.kind = Kind::synced,
        .text = {},
        .direction = direction,
        .characters = ClipboardHistory::characters(text),
        .at = at});
  if (options_.onTransfer)
    options_.onTransfer({ClipTransfer::Synced{.direction = direction, .text = text, .at = at}});
}

bool SharedClipboard::helperEnded() {
  auto ended = current();
  const std::string why = ClipHelper::endText(*ended->ended(), true, options_.serial);
  ended->terminateNow();
  // Sets in flight died with it; the tablet holds what it acknowledged.
  state_.pendingSets.clear();
  emit(event(Kind::restarting, why));
  // Every attempt ends by the deadline, also on a tablet that adb lists but that does not
  // answer.
  const StopToken attempts = stop_.child(options_.deviceWait);
  std::string failure = why;
  while (!stopping_) {
    const Seconds left = attempts.budget(options_.deviceWait);
    if (left <= Seconds(0) || !tabletWait_.waitForDevice(options_.serial, left, stop_)) break;
    try {
      ClipHelper::ensureInstalled(runners_.shell, runners_.files, options_.serial, &attempts);
      launch(lastClipAt_);
      awaitReady(attempts.budget(kReadyTimeout));
      return true;
    } catch (const Error& attempt) {
      // One cut short by the deadline says less than how the helper ended.
      if (attempts.budget(options_.deviceWait) > Seconds(0)) failure = attempt.message();
    }
    if (!pause(kRetryPause)) return false;
  }
  if (stopping_) return false;
  emit(event(Kind::failed, failure));
  std::lock_guard guard(lock_);
  failed_ = true;
  changed_.notify_all();
  return false;
}

bool SharedClipboard::pause(Seconds length) {
  std::unique_lock guard(lock_);
  return !changed_.wait_for(guard, length, [this] { return stopping_.load(); });
}

void SharedClipboard::emit(SharedClipboardEvent event) {
  events_.notify(event);
}

std::shared_ptr<ClipHelperProcess> SharedClipboard::current() const {
  std::lock_guard guard(lock_);
  return current_;
}

}  // namespace lumivale
