#pragma once

#include <set>
#include <string>
#include <vector>

#include "core/account/http_url.h"
#include "core/settings/lumivale_config.h"

namespace lumivale::EndpointPolicy {

// The configuration the product ships with, and the hosts of its built-in servers.
const LumivaleConfig& lumivale();
const std::set<std::string>& lumivaleHosts();

// Same scheme, host and port.
bool sameServer(const HttpUrl& first, const HttpUrl& second);
// An address on this machine, where staff builds may run a test server.
bool isTestServer(const std::string& workerOrigin);
// Every endpoint of `config` is one of the built-in servers, over https.
bool usesLumivaleServers(const LumivaleConfig& config);
// What is wrong with the endpoints of `config` for this build, one sentence each.
std::vector<std::string> problems(const LumivaleConfig& config, bool internalBuild);

// Sign-in bodies and session tokens go only to the built-in servers over https;
// staff builds may also send them to a test server on this machine.
bool mayCarryCredentials(const HttpUrl& url, bool internalBuild);
bool mayCarrySessionToken(const HttpUrl& url, bool internalBuild);

}  // namespace lumivale::EndpointPolicy
