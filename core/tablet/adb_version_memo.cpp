#include "core/tablet/adb_version_memo.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <optional>
#include <sstream>
#include <string>

namespace lumivale::AdbVersionMemo {
namespace {

// "path<TAB>size<TAB>inode<TAB>ctime-ns", followed in the memo by "<TAB>version": any
// change to the file forgets the answer.
std::optional<std::string> stamp(const std::filesystem::path& executable) {
  struct stat info {};
  if (::stat(executable.c_str(), &info) != 0) return std::nullopt;
  std::ostringstream line;
  line << executable.string() << '\t' << info.st_size << '\t' << info.st_ino << '\t'
       << info.st_ctim.tv_sec * 1000000000LL + info.st_ctim.tv_nsec;
  return line.str();
}

}  // namespace

std::optional<std::string> rememberedVersion(const std::filesystem::path& memo,
                                             const std::filesystem::path& executable) {
  auto wanted = stamp(executable);
  if (!wanted) return std::nullopt;
  std::ifstream file(memo);
  std::string line;
  while (std::getline(file, line)) {
    auto tab = line.rfind('\t');
    if (tab != std::string::npos && line.compare(0, tab, *wanted) == 0) return line.substr(tab + 1);
  }
  return std::nullopt;
}

void remember(const std::filesystem::path& memo, const std::filesystem::path& executable,
              const std::string& version) {
  auto line = stamp(executable);
  if (!line) return;
  std::error_code ignored;
  std::filesystem::create_directories(memo.parent_path(), ignored);
  // Written whole under a private name and renamed, so a reader never sees half a file.
  auto partial = memo;
  partial += "." + std::to_string(::getpid());
  {
    std::ofstream file(partial, std::ios::trunc);
    file << *line << '\t' << version << '\n';
    if (!file) return;
  }
  std::filesystem::rename(partial, memo, ignored);
}

}  // namespace lumivale::AdbVersionMemo
