#include "core/settings/redaction.h"

#include <regex>
#include <vector>

namespace lumivale {
namespace {

struct Redaction {
  std::regex pattern;
  const char* replacement;
};

const std::vector<Redaction>& redactions() {
  constexpr auto icase = std::regex::ECMAScript | std::regex::icase;
  static const std::vector<Redaction> all = {
      // Three base64url parts, the first an encoded JSON object ("eyJ" is "{\"").
      {std::regex(R"(eyJ[A-Za-z0-9_-]*\.[A-Za-z0-9_-]+\.[A-Za-z0-9_-]*)"), "[redacted]"},
      {std::regex(R"(\b(Bearer|Basic)\s+[A-Za-z0-9._~+/=-]+)", icase), "$1 [redacted]"},
      {std::regex(
           R"re(\b([A-Za-z_]*(?:token|password|secret|api_?key)"?\s*[:=]\s*"?)[^\s"&,;}]+)re",
           icase),
       "$1[redacted]"},
  };
  return all;
}

}  // namespace

std::string redactSecrets(std::string_view text) {
  std::string result(text);
  for (const auto& redaction : redactions())
    result = std::regex_replace(result, redaction.pattern, redaction.replacement);
  return result;
}

}  // namespace lumivale
