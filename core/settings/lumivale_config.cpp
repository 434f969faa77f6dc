#include "core/settings/lumivale_config.h"

#include <algorithm>
#include <cctype>

#include "core/random_uuid.h"

namespace lumivale {
namespace {

// Built-in servers. ".example" is reserved, so a build that was never given its real
// servers cannot reach anyone else's.
constexpr const char* builtInPortmarkBaseUrl = "https://portmark.lumivale.example";
constexpr const char* builtInWorkerOrigin = "https://sync.lumivale.example";
constexpr const char* builtInPowerSyncEndpoint = "https://powersync.lumivale.example";

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\n\r\v\f";
  auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

const LumivaleConfig& LumivaleConfig::devDefaults() {
  static const LumivaleConfig defaults{
      .portmarkBaseUrl = builtInPortmarkBaseUrl,
      .workerOrigin = builtInWorkerOrigin,
      .powerSyncEndpoint = builtInPowerSyncEndpoint,
      .clientSessionId = "mac-" + randomUuid(),
  };
  return defaults;
}

std::optional<Url> LumivaleConfig::endpointURL(std::string_view text) {
  auto url = Url::parse(trimmed(text));
  if (!url) return std::nullopt;
  auto scheme = lowered(url->scheme);
  if (scheme != "https" && scheme != "http") return std::nullopt;
  if (!url->host || url->host->empty() || url->user || url->password || url->query || url->fragment)
    return std::nullopt;
  if (scheme == "http") {
    auto host = lowered(*url->host);
    if (host != "localhost" && host != "127.0.0.1" && host != "::1") return std::nullopt;
  }
  return url;
}

}  // namespace lumivale
