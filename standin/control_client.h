#pragma once

#include <filesystem>
#include <string>

namespace lumivale::standin {

// Sends one request line to a running stand-in's control socket and returns
// the listing that follows "ok". Throws Error with the stand-in's own message
// when it answers "error: ...", or when it cannot be reached.
std::string sendControlRequest(const std::filesystem::path& socket, const std::string& request);

}  // namespace lumivale::standin
