#include "platform/clip_secret_marks.h"

#include <algorithm>
#include <set>

#include "core/clipboard/clipboard_history.h"

namespace lumivale {
namespace {

constexpr std::string_view kPasswordManagerHint = "x-kde-passwordManagerHint";
// How Qt names a platform type that has no MIME type of its own.
constexpr std::string_view kMimeFormPrefix = "application/x-qt-mime-type-name;value=\"";

// The Mac type a MIME form stands for, or the format itself.
std::string macType(const std::string& format) {
  if (!format.starts_with(kMimeFormPrefix) || !format.ends_with('"')) return format;
  return format.substr(kMimeFormPrefix.size(), format.size() - kMimeFormPrefix.size() - 1);
}

}  // namespace

bool isMarkedSecret(const std::vector<std::string>& formats,
                    const std::function<std::string(const std::string& format)>& valueOf) {
  std::set<std::string> types;
  for (const std::string& format : formats) {
    if (format == kPasswordManagerHint && valueOf(format) != "public") return true;
    types.insert(macType(format));
  }
  return ClipboardHistory::isConcealed(types);
}

}  // namespace lumivale
