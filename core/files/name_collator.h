#pragma once

#include <string>
#include <string_view>

struct UCollator;

namespace lumivale {

// The order people expect names in, as a file manager shows them: the locale's
// standard collation with runs of digits compared by value, so that an accented
// letter sorts with its base letter, other scripts follow the locale's rules, and
// differences of case count last. Under the C or POSIX locale the root collation is
// used, not ICU's POSIX one, which puts every capital before every small letter.
//
// One collator is not to be shared between threads; copies are cheap.
class NameCollator {
 public:
  // For a locale named as in LANG ("de_DE.UTF-8", "sv_SE", "C"); "" means the root collation.
  explicit NameCollator(std::string_view locale);
  // The user's collation (LC_ALL, else LC_COLLATE, else LANG), made once per process.
  static NameCollator forUser();

  NameCollator(const NameCollator& other);
  NameCollator& operator=(const NameCollator&) = delete;
  ~NameCollator();

  // Negative, zero or positive like strcmp. Names that collate the same ("1" and "01")
  // are ordered by their bytes, so only identical names compare equal.
  int compare(std::string_view a, std::string_view b) const;
  // Bytes whose plain byte order (memcmp, std::string's <) is the order of `compare`:
  // worked out once per name, for sorting many.
  std::string sortKey(std::string_view name) const;
  // The same, added to the end of `out`.
  void appendSortKey(std::string& out, std::string_view name) const;

 private:
  UCollator* collator_;
};

}  // namespace lumivale
