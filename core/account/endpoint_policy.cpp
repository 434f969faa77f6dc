#include "core/account/endpoint_policy.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "core/account/transport_policy.h"

namespace lumivale::EndpointPolicy {

namespace {

std::optional<HttpUrl> endpoint(const std::string& text) {
  if (!LumivaleConfig::endpointURL(text)) return std::nullopt;
  return HttpUrl::parse(text);
}

std::array<std::pair<const char*, const std::string*>, 3> endpointsOf(
    const LumivaleConfig& config) {
  return {{{"sign-in server", &config.portmarkBaseUrl},
           {"reader sync", &config.workerOrigin},
           {"PowerSync", &config.powerSyncEndpoint}}};
}

bool isLumivaleServer(const HttpUrl& url) {
  return url.scheme == "https" && lumivaleHosts().count(url.host) > 0;
}

bool maySend(const HttpUrl& url, bool internalBuild) {
  if (url.hasUserInfo || url.hasQueryOrFragment || !TransportPolicy::isAllowedDestination(url)) {
    return false;
  }
  return isLumivaleServer(url) || (internalBuild && url.isLocalHost());
}

}  // namespace

const LumivaleConfig& lumivale() {
  return LumivaleConfig::devDefaults();
}

const std::set<std::string>& lumivaleHosts() {
  static const std::set<std::string> hosts = [] {
    std::set<std::string> result;
    for (const auto& [label, text] : endpointsOf(lumivale())) {
      if (auto url = HttpUrl::parse(*text)) result.insert(url->host);
    }
    return result;
  }();
  return hosts;
}

bool sameServer(const HttpUrl& first, const HttpUrl& second) {
  return first.scheme == second.scheme && first.host == second.host &&
         first.effectivePort() == second.effectivePort();
}

bool isTestServer(const std::string& workerOrigin) {
  auto url = endpoint(workerOrigin);
  return url && url->isLocalHost();
}

bool usesLumivaleServers(const LumivaleConfig& config) {
  for (const auto& [label, text] : endpointsOf(config)) {
    auto url = endpoint(*text);
    if (!url || !isLumivaleServer(*url)) return false;
  }
  return true;
}

std::vector<std::string> problems(const LumivaleConfig& config, bool internalBuild) {
  std::vector<std::string> found;
  for (const auto& [label, text] : endpointsOf(config)) {
    auto url = endpoint(*text);
    if (!url) {
      found.push_back(fmt::format(
          "The {} address is not usable. Each address must be a plain https address (http only "
          "for localhost), with nothing after a ? or #.",
          label));
    } else if (!maySend(*url, internalBuild)) {
      found.push_back(
          fmt::format("The {} address {} is not one of Lumivale’s servers.", label, url->host));
    }
  }
  return found;
}

bool mayCarryCredentials(const HttpUrl& url, bool internalBuild) {
  return maySend(url, internalBuild);
}

bool mayCarrySessionToken(const HttpUrl& url, bool internalBuild) {
  return maySend(url, internalBuild);
}

}  // namespace lumivale::EndpointPolicy
