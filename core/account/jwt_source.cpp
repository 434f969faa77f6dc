#include "core/account/jwt_source.h"

#include <chrono>

#include "core/account/auth_error.h"

namespace lumivale {

JwtSource::JwtSource(PortmarkClient& portmark, SessionStore& store, double refreshMargin,
                     double storeReadInterval, Clock now)
    : portmark_(portmark),
      store_(store),
      refreshMargin_(refreshMargin),
      storeReadInterval_(storeReadInterval),
      now_(std::move(now)) {}

double JwtSource::systemClock() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::string JwtSource::currentGeneration() const {
  auto file = store_.generationFile();
  return file ? file->read() : std::string();
}

PortmarkJWT JwtSource::jwt() {
  // One jwt() at a time, without holding a lock while the store or the network answers:
  // later callers wait (the mutex released) for the one under way, then use its result.
  std::unique_lock state(state_);
  settled_.wait(state, [&] { return !busy_; });
  busy_ = true;
  state.unlock();
  struct Settle {
    JwtSource& source;
    std::unique_lock<std::mutex>& state;
    ~Settle() {
      if (!state.owns_lock()) state.lock();
      source.busy_ = false;
      source.settled_.notify_one();
    }
  } settle{*this, state};
  const double now = now_();
  const std::string generation = currentGeneration();
  state.lock();
  const int epoch = epoch_;
  // A generation mid-change or unreadable never matches, so the store is re-read.
  bool stale = !lastStoreRead_ || now - lastStoreRead_->at >= storeReadInterval_ ||
               generation != lastStoreRead_->generation ||
               generation.rfind(SessionGenerationFile::changingPrefix, 0) == 0 ||
               generation.rfind(SessionGenerationFile::unreadablePrefix, 0) == 0;
  if (stale) {
    state.unlock();
    StoreRead read{store_.loadSessionToken(), now, generation};
    state.lock();
    lastStoreRead_ = read;
  }
  const std::optional<std::string> token = lastStoreRead_->token;
  if (!token) throw NotSignedIn();
  if (cached_ && mintedFrom_ == token && cached_->expiresAt > now + refreshMargin_) {
    return *cached_;
  }
  state.unlock();
  PortmarkJWT minted = portmark_.mintJwt(*token);
  state.lock();
  if (epoch_ == epoch) {
    cached_ = minted;
    mintedFrom_ = token;
  }
  return minted;
}

void JwtSource::invalidate() {
  std::lock_guard state(state_);
  cached_.reset();
  mintedFrom_.reset();
  lastStoreRead_.reset();
  ++epoch_;
}

int JwtSource::epoch() const {
  std::lock_guard state(state_);
  return epoch_;
}

}  // namespace lumivale
