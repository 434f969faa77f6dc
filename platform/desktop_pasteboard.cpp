#include "platform/desktop_pasteboard.h"

#include <filesystem>

#include "core/clipboard/clip_error.h"
#include "core/shared_library.h"
#include "platform/clip_secret_marks.h"

namespace lumivale {
namespace {

namespace fs = std::filesystem;

constexpr const char* kModule = "liblumivale-qt-pasteboard.so";

// Beside the program, where it is installed, else where this build made it.
fs::path modulePath() {
  std::error_code ignored;
  const fs::path program = fs::read_symlink("/proc/self/exe", ignored).parent_path();
  std::vector<fs::path> places{program / kModule, program / "../lib/lumivale" / kModule};
#ifdef LUMIVALE_QT_PASTEBOARD_BUILT
  places.emplace_back(LUMIVALE_QT_PASTEBOARD_BUILT);
#endif
  for (const fs::path& place : places)
    if (fs::is_regular_file(place, ignored)) return place;
  throw ClipError(std::string("the computer's clipboard cannot be reached: ") + kModule +
                  " is not installed beside this program");
}

using Open = decltype(lumivaleOpenDesktopClipboard);

Open* openFunction() {
  // Loaded once even when several threads ask first; a failure is retried next time.
  static const SharedLibrary module(modulePath().c_str(), "the desktop clipboard module");
  static Open* open = module.function<Open>("lumivaleOpenDesktopClipboard");
  return open;
}

DesktopClipboard::Answer checked(DesktopClipboard::Answer answer) {
  if (!answer.failure.empty()) throw ClipError(answer.failure);
  return answer;
}

}  // namespace

DesktopPasteboard::DesktopPasteboard() {
  std::string failure;
  desktop_.reset(openFunction()(&isMarkedSecret, &failure));
  if (!desktop_) throw ClipError(failure);
}

std::int64_t DesktopPasteboard::changeCount() {
  countSeen_ = checked(desktop_->changeCount()).changeCount;
  return countSeen_;
}

PasteboardContent DesktopPasteboard::read() {
  return checked(desktop_->read(countSeen_)).content;
}

std::int64_t DesktopPasteboard::write(const std::string& text) {
  return checked(desktop_->write(text)).changeCount;
}

bool DesktopPasteboard::offeredAlone() {
  return desktop_->offeredAlone();
}

void DesktopPasteboard::keepOffered(std::chrono::milliseconds limit, const StopToken& stop) {
  auto interrupt = stop.hold([this] { desktop_->release(); });
  desktop_->keepOffered(limit);
}

}  // namespace lumivale
