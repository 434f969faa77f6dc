#pragma once

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace lumivale::testing {

// A captured output of a real device or of adb, read from the shared collection.
inline std::string androidOutput(const std::string& name) {
  const std::string path = std::string(LUMIVALE_ANDROID_OUTPUTS) + "/" + name;
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("missing captured output " + path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace lumivale::testing
