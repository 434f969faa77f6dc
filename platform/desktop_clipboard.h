#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/clipboard/pasteboard_content.h"

namespace lumivale {

// The desktop's clipboard as the Qt module (liblumivale-qt-pasteboard.so) offers it to the
// program, which never links Qt itself. Nothing is thrown across the module's edge: an
// answer carries its failure as a sentence, empty when there was none.
class DesktopClipboard {
 public:
  struct Answer {
    std::int64_t changeCount = 0;
    PasteboardContent content;
    std::string failure;
  };
  // Whether a copy with these formats was marked secret; `valueOf` reads one format.
  using SecretTest = bool (*)(const std::vector<std::string>& formats,
                              const std::function<std::string(const std::string&)>& valueOf);

  virtual ~DesktopClipboard() = default;
  // A count that grows with every copy, ours included.
  virtual Answer changeCount() = 0;
  // The current copy; `changing` when it is no longer the one counted `seen`.
  virtual Answer read(std::int64_t seen) = 0;
  // Makes `text` the copy; the answer's count is the one this write produced.
  virtual Answer write(const std::string& text) = 0;
  // Whether the copy written last would go when this process ends: on X11 a copy lives
  // with the program that offers it, unless a clipboard manager takes it over.
  virtual bool offeredAlone() = 0;
  // Blocks until another program copies or release() is called from another thread, at
  // most `limit`.
  virtual void keepOffered(std::chrono::milliseconds limit) = 0;
  virtual void release() = 0;
};

}  // namespace lumivale

// The module's one entry point: the desktop's clipboard, or null with `failure` said.
extern "C" lumivale::DesktopClipboard* lumivaleOpenDesktopClipboard(
    lumivale::DesktopClipboard::SecretTest isSecret, std::string* failure);
