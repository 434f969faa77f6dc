#include "companion/program_folder.h"

#ifdef __APPLE__
#include <mach-o/dyld.h>

#include <cstdint>
#include <vector>
#endif

namespace lumivale::companion {
namespace fs = std::filesystem;

#ifdef __APPLE__

fs::path programFolder() {
  std::uint32_t size = 0;
  _NSGetExecutablePath(nullptr, &size);
  std::vector<char> buffer(size + 1, '\0');
  if (_NSGetExecutablePath(buffer.data(), &size) != 0) return {};
  // The path may pass through links; the folder is where the program really is.
  std::error_code error;
  fs::path self = fs::canonical(buffer.data(), error);
  return error ? fs::path() : self.parent_path();
}

#else

fs::path programFolder() {
  std::error_code error;
  fs::path self = fs::read_symlink("/proc/self/exe", error);
  return error ? fs::path() : self.parent_path();
}

#endif

}  // namespace lumivale::companion
