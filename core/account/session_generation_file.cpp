#include "core/account/session_generation_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>

#include "core/settings/atomic_file.h"

namespace lumivale {

namespace {

std::string freshGeneration() {
  std::random_device random;
  std::uniform_int_distribution<unsigned long long> digits;
  std::ostringstream text;
  text << std::hex << digits(random);
  return text.str();
}

}  // namespace

std::string SessionGenerationFile::read() const {
  std::error_code missing;
  // No file yet: no change has ever been made, which is a generation too.
  if (!std::filesystem::exists(url, missing) && !missing) return "initial";
  std::ifstream file(url);
  if (!file) return unreadablePrefix + std::string(std::strerror(errno));
  std::string text;
  std::getline(file, text);
  if (file.bad()) return unreadablePrefix + std::string(std::strerror(errno));
  return text;
}

void SessionGenerationFile::markChanging() const {
  writeFileAtomically(url, changingPrefix + freshGeneration());
}

void SessionGenerationFile::advance() const {
  writeFileAtomically(url, freshGeneration());
}

}  // namespace lumivale
