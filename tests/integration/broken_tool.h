#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace lumivale::testing {

// Puts a failing script in place of one of the stand-in's tools while it lives: the
// tool complains on standard error and exits 1, as a tablet refusing the work does.
class BrokenTool {
 public:
  BrokenTool(const std::filesystem::path& tool, const std::string& complaint)
      : tool_(tool), saved_(tool.string() + ".saved") {
    std::filesystem::rename(tool_, saved_);
    std::ofstream(tool_) << "#!/system/bin/sh\necho '" << complaint << "' >&2\nexit 1\n";
    std::filesystem::permissions(
        tool_, std::filesystem::perms::owner_all | std::filesystem::perms::group_read |
                   std::filesystem::perms::group_exec | std::filesystem::perms::others_read |
                   std::filesystem::perms::others_exec);
  }
  BrokenTool(const BrokenTool&) = delete;
  BrokenTool& operator=(const BrokenTool&) = delete;
  ~BrokenTool() { std::filesystem::rename(saved_, tool_); }

 private:
  std::filesystem::path tool_;
  std::filesystem::path saved_;
};

}  // namespace lumivale::testing
