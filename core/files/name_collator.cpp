#include "core/files/name_collator.h"

#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <cstdlib>
#include <vector>

#include "core/error.h"
#include "core/shared_library.h"

namespace lumivale {
namespace {

// ICU is opened when names are first compared, so that commands which never sort do
// not pay for loading it.
const SharedLibrary& icuLibrary() {
  static const SharedLibrary library("libicui18n.so." U_ICU_VERSION_SHORT,
                                     "ICU's collation library");
  return library;
}

// ICU's function `symbol`, looked up once. Its names carry ICU's version (ucol_open is
// ucol_open_72), and passing `symbol` on through this macro lets that renaming happen
// before the name is looked up.
#define LUMIVALE_ICU(symbol)                                                      \
  ([] {                                                                           \
    static const auto function = LUMIVALE_LIBRARY_FUNCTION(icuLibrary(), symbol); \
    return function;                                                              \
  }())

int sign(auto value) {
  return value < 0 ? -1 : (value > 0 ? 1 : 0);
}

// "de_DE.UTF-8" -> "de_DE"; the C and POSIX locales (also "C.UTF-8") -> the root, "".
std::string icuLocale(std::string_view name) {
  name = name.substr(0, name.find_first_of(".@"));
  return name == "C" || name == "POSIX" ? "" : std::string(name);
}

std::string userLocale() {
  for (const char* variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value && *value) return value;
  }
  return "";
}

void check(UErrorCode status, std::string_view locale) {
  if (U_FAILURE(status))
    throw Error("could not set up the name order for the locale '" + std::string(locale) + "'");
}

}  // namespace

NameCollator::NameCollator(std::string_view locale) : collator_(nullptr) {
  UErrorCode status = U_ZERO_ERROR;
  collator_ = LUMIVALE_ICU(ucol_open)(icuLocale(locale).c_str(), &status);
  check(status, locale);
  LUMIVALE_ICU(ucol_setAttribute)(collator_, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
  if (U_FAILURE(status)) LUMIVALE_ICU(ucol_close)(collator_);
  check(status, locale);
}

NameCollator NameCollator::forUser() {
  static const NameCollator user(userLocale());
  return user;
}

NameCollator::NameCollator(const NameCollator& other) : collator_(nullptr) {
  // Cloning is safe while other threads use other clones of the same collator.
  UErrorCode status = U_ZERO_ERROR;
  collator_ = LUMIVALE_ICU(ucol_clone)(other.collator_, &status);
  check(status, "(copy)");
}

NameCollator::~NameCollator() {
  LUMIVALE_ICU(ucol_close)(collator_);
}

int NameCollator::compare(std::string_view a, std::string_view b) const {
  UErrorCode status = U_ZERO_ERROR;
  UCollationResult order =
      LUMIVALE_ICU(ucol_strcollUTF8)(collator_, a.data(), static_cast<int32_t>(a.size()), b.data(),
                                     static_cast<int32_t>(b.size()), &status);
  if (U_SUCCESS(status) && order != UCOL_EQUAL) return order == UCOL_LESS ? -1 : 1;
  return sign(a.compare(b));
}

std::string NameCollator::sortKey(std::string_view name) const {
  std::string key;
  appendSortKey(key, name);
  return key;
}

void NameCollator::appendSortKey(std::string& out, std::string_view name) const {
  // Bytes that are not UTF-8 collate as U+FFFD; the name's own bytes, after the key's
  // closing zero, then tell such names apart.
  thread_local std::vector<UChar> text;
  text.resize(name.size() + 1);
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  LUMIVALE_ICU(u_strFromUTF8WithSub)
  (text.data(), static_cast<int32_t>(text.size()), &length, name.data(),
   static_cast<int32_t>(name.size()), 0xFFFD, nullptr, &status);
  const std::size_t start = out.size();
  if (U_SUCCESS(status)) {
    out.resize(start + name.size() * 4 + 16);
    auto fill = [&] {
      return LUMIVALE_ICU(ucol_getSortKey)(collator_, text.data(), length,
                                           reinterpret_cast<uint8_t*>(out.data() + start),
                                           static_cast<int32_t>(out.size() - start));
    };
    int32_t needed = fill();
    if (needed > static_cast<int32_t>(out.size() - start)) {
      out.resize(start + static_cast<std::size_t>(needed));
      needed = fill();
    }
    out.resize(start + static_cast<std::size_t>(needed));
  }
  if (out.size() == start) out.push_back('\0');
  out.append(name);
}

}  // namespace lumivale
