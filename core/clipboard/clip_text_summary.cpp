#include "core/clipboard/clip_text_summary.h"

#include "core/clipboard/clipboard_history.h"
#include "core/files/utf8.h"

namespace lumivale {

ClipTextSummary ClipTextSummary::of(std::string_view text, std::size_t maxLines,
                                    std::size_t maxLineLength) {
  auto [lines, more] = ClipboardHistory::previewLines(text, maxLines, maxLineLength);
  ClipTextSummary summary{std::move(lines), more, text.size(), std::nullopt};
  if (utf8::isValid(text)) summary.characters = ClipboardHistory::characters(text);
  return summary;
}

}  // namespace lumivale
