#include "standin/tablet_root.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <fstream>
#include <regex>
#include <sstream>

#include <fmt/format.h>

#include "core/error.h"
#include "core/tablet/tool_run.h"
#include "standin/screen_image.h"

namespace lumivale::standin {
namespace fs = std::filesystem;
namespace {

const fs::path kToybox = "/usr/bin/toybox";
const fs::path kStaticMksh = "/usr/lib/klibc/bin/mksh";

// The LV-1 panel, also what `wm size` reports as physical.
constexpr unsigned kScreenWidth = 1404;
constexpr unsigned kScreenHeight = 1872;

ToolRun runTool(const std::string& path, const std::vector<std::string>& arguments) {
  ToolRun run = ToolRun::run(path, arguments, Seconds(30));
  if (run.status != 0 || run.timedOut)
    throw Error(fmt::format("{} failed while building the tablet root: {}", path, run.stderrData));
  return run;
}

void writeFile(const fs::path& path, std::string_view content) {
  fs::path temporary = path.string() + ".new";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out) throw Error(fmt::format("cannot write {}", temporary.string()));
  }
  fs::rename(temporary, path);
}

// Makes `link` point at `target`, replacing whatever is there.
void placeLink(const fs::path& target, const fs::path& link) {
  std::error_code ignored;
  if (fs::is_symlink(link) && fs::read_symlink(link) == target) return;
  fs::remove(link, ignored);
  fs::create_symlink(target, link);
}

void makeDevice(const fs::path& path, unsigned major, unsigned minor) {
  if (fs::exists(fs::symlink_status(path))) return;
  if (::mknod(path.c_str(), S_IFCHR | 0666, makedev(major, minor)) != 0)
    throw Error(fmt::format("lumivale-standin cannot make {} in the tablet root: {}", path.string(),
                            std::strerror(errno)));
}

// The file that stands in for a tool that misbehaves, for each hideable tool;
// empty when hiding means the tool is simply gone.
std::string hiddenVariant(const std::string& tool) {
  if (tool == "find-printf") return "find";
  if (tool == "readlink-e") return "readlink";
  return "";
}

}  // namespace

TabletRoot::TabletRoot(fs::path dataFolder, fs::path commandsFolder)
    : root_(std::move(dataFolder) / "root"), commands_(std::move(commandsFolder)) {}

fs::path TabletRoot::inRoot(std::string_view tabletPath) const {
  return root_ / tabletPath.substr(tabletPath.starts_with('/') ? 1 : 0);
}

void TabletRoot::installProgram(const fs::path& from, std::string_view tabletPath) {
  fs::path to = inRoot(tabletPath);
  fs::create_directories(to.parent_path());
  fs::path temporary = to.string() + ".new";
  fs::copy_file(from, temporary, fs::copy_options::overwrite_existing);
  fs::permissions(temporary, fs::perms(0755));
  fs::rename(temporary, to);  // a running copy keeps its old file
}

void TabletRoot::linkApplet(const std::string& name) {
  placeLink("toybox", inRoot("/system/bin/" + name));
}

void TabletRoot::installLibrariesOf(const fs::path& program) {
  // "libc.so.6 => /lib/x86_64-linux-gnu/libc.so.6 (0x...)" and "/lib64/ld-linux-x86-64.so.2
  // (0x...)"
  static const std::regex library(R"((?:=> )?(/\S+) \(0x)");
  std::string listing = runTool("/usr/bin/ldd", {program.string()}).stdoutData;
  for (std::sregex_iterator match(listing.begin(), listing.end(), library), end; match != end;
       ++match)
    installProgram(fs::canonical((*match)[1].str()), (*match)[1].str());
}

void TabletRoot::build() {
  for (const char* folder :
       {"/system/bin", "/system/etc", "/system/media", "/dev", "/proc", "/data/local/tmp",
        "/data/standin", "/storage/emulated/0", "/mnt", "/storage/self"})
    fs::create_directories(inRoot(folder));
  fs::permissions(inRoot("/data/local/tmp"), fs::perms(0771));

  installProgram(kStaticMksh, "/system/bin/sh");
  installProgram(kToybox, "/system/bin/toybox");
  installLibrariesOf(kToybox);
  std::istringstream applets(runTool(kToybox.string(), {}).stdoutData);
  for (std::string name; applets >> name;)
    if (name != "[" && !fs::exists(commands_ / name)) linkApplet(name);
  for (const auto& entry : fs::directory_iterator(commands_))
    if (entry.is_regular_file())
      installProgram(entry.path(), "/system/bin/" + entry.path().filename().string());
  for (const auto& entry : fs::directory_iterator(commands_ / "lib"))
    installProgram(entry.path(), "/system/etc/standin/" + entry.path().filename().string());

  placeLink("system/bin", inRoot("/bin"));
  placeLink("system/etc", inRoot("/etc"));
  placeLink("/storage/emulated/0", inRoot("/sdcard"));
  placeLink("/storage/emulated/0", inRoot("/storage/self/primary"));
  makeDevice(inRoot("/dev/null"), 1, 3);
  makeDevice(inRoot("/dev/zero"), 1, 5);
  makeDevice(inRoot("/dev/urandom"), 1, 9);
  makeDevice(inRoot("/dev/tty"), 5, 0);
  writeFile(inRoot("/system/etc/passwd"),
            "root:x:0:0::/:/system/bin/sh\nshell:x:2000:2000::/:/system/bin/sh\n");
  writeFile(inRoot("/system/etc/group"), "root:x:0:\nshell:x:2000:\nmedia_rw:x:1023:\n");
  writeFile(inRoot("/system/media/screen.png"), screenImage(kScreenWidth, kScreenHeight));
  applyFaults({});
}

void TabletRoot::applyFaults(const FaultSettings& faults) {
  for (const auto& tool : hideableTools()) {
    std::string variant = hiddenVariant(tool);
    std::string name = variant.empty() ? tool : variant;
    fs::path installed = inRoot("/system/bin/" + name);
    if (!faults.hiddenTools.contains(tool)) {
      linkApplet(name);
    } else if (variant.empty()) {
      std::error_code ignored;
      fs::remove(installed, ignored);
    } else {
      installProgram(commands_ / "hidden" / variant, "/system/bin/" + name);
    }
  }
  fs::path booting = inRoot("/data/standin/boot-completes-at");
  if (faults.bootCompletesAt)
    writeFile(booting, std::to_string(*faults.bootCompletesAt) + "\n");
  else
    fs::remove(booting);
  fs::path lowSpace = inRoot("/data/standin/low-space");
  if (faults.lowSpace)
    writeFile(lowSpace, "");
  else
    fs::remove(lowSpace);
}

}  // namespace lumivale::standin
