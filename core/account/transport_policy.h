#pragma once

#include <array>
#include <string_view>

#include "core/account/http_url.h"

namespace lumivale::TransportPolicy {

// https anywhere; plain http only to this machine.
bool isAllowedDestination(const HttpUrl& url);

// Header names (lower case) never sent on a presigned storage request: the URL itself
// carries the permission, and these would hand the account's secrets to the store.
inline constexpr std::array<std::string_view, 4> forbiddenPresignedHeaders{
    "authorization", "cookie", "proxy-authorization", "x-amz-security-token"};

}  // namespace lumivale::TransportPolicy
