#include <fmt/format.h>

#include <sstream>

#include "core/checked_number.h"
#include "core/files/adb_files.h"
#include "core/files/adb_files_detail.h"
#include "core/files/remote_listing.h"
#include "core/files/remote_path.h"

namespace lumivale {

using namespace files_detail;

namespace {

// SHA-256 of no bytes: what an honest sha256sum prints for an empty input.
constexpr std::string_view emptyDigest =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

// A shell's "command not found".
constexpr int toolMissing = 127;

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> fields;
  std::size_t start = 0;
  for (;;) {
    auto end = text.find(separator, start);
    fields.push_back(text.substr(start, end - start));
    if (end == std::string_view::npos) return fields;
    start = end + 1;
  }
}

// The number a tool prints first on its line ("12\t/sdcard/Books" from du).
std::optional<std::uint64_t> number(std::string_view text) {
  return CheckedNumber::leadingDigits<std::uint64_t>(text);
}

std::optional<std::uint64_t> bytesOfKibibytes(std::optional<std::uint64_t> kibibytes) {
  return kibibytes ? CheckedNumber::product<std::uint64_t>(*kibibytes, 1024) : std::nullopt;
}

std::vector<std::string> withPath(std::vector<std::string> command, const std::string& path) {
  command.push_back(path);
  return command;
}

}  // namespace

std::optional<RemoteEntry> AdbFiles::entry(const std::string& path) const {
  const std::string valid = RemotePath::validate(path);
  auto result = exec({"stat", "-c", "%f|%s|%Y|%n", "--", valid}, stepTimeout, false);
  if (result.status != 0) return std::nullopt;
  // One path was asked about, so one line is its answer.
  auto lines = RemoteListing::parseStatLines(result.output);
  if (lines.size() != 1)
    throw FilesError::refused(fmt::format("the tablet did not say what '{}' is", shown(valid)));
  const std::string name = RemotePath::name(valid);
  auto found = lines.begin();
  RemoteEntry entry{name, valid, found->second.kind, found->second.size, found->second.modified};
  if (entry.kind == RemoteEntry::Kind::symlink)
    entry.targetIsDirectory = exec({"test", "-d", valid}, stepTimeout, false).status == 0;
  return entry;
}

bool AdbFiles::present(const std::string& path) const {
  const std::string valid = RemotePath::validate(path);
  return exec({"stat", "-c", "%f", "--", valid}, stepTimeout, false).status == 0;
}

std::optional<std::string> AdbFiles::identity(const std::string& path) const {
  const std::string valid = RemotePath::validate(path);
  auto result = exec({"stat", "-c", "%d:%i:%s:%Y:%f", "--", valid}, stepTimeout, false);
  if (result.status != 0) return std::nullopt;
  auto line = firstLine(result.output);
  if (split(line, ':').size() != 5)
    throw FilesError::refused(fmt::format("the tablet did not say what '{}' is", shown(valid)));
  return line;
}

std::optional<RemoteEntry::Kind> AdbFiles::kind(std::string_view identity) {
  auto fields = split(identity, ':');
  if (fields.size() != 5) return std::nullopt;
  return RemoteListing::kindOfRawMode(fields[4]);
}

std::optional<std::uint64_t> AdbFiles::size(std::string_view identity) {
  auto fields = split(identity, ':');
  if (fields.size() != 5) return std::nullopt;
  return number(fields[2]);
}

std::uint64_t AdbFiles::usage(const std::string& path) const {
  const std::string valid = RemotePath::validate(path);
  auto result = exec({"du", "-sk", "--", valid}, folderTimeout, false);
  auto bytes = bytesOfKibibytes(number(firstLine(result.output)));
  if (result.status != 0 || !bytes)
    throw FilesError::refused(fmt::format("could not read the size of {}", shown(valid)));
  return *bytes;
}

std::optional<std::uint64_t> AdbFiles::tabletFree(const std::string& path) const {
  const std::string valid = RemotePath::validate(path);
  auto result = exec({"df", "-k", "--", valid}, stepTimeout, false);
  if (result.status != 0) return std::nullopt;
  // Header, then: filesystem, size, used, available, use%, mount point. A long
  // filesystem name may push the numbers onto a line of their own.
  auto firstBreak = result.output.find('\n');
  if (firstBreak == std::string::npos) return std::nullopt;
  std::istringstream rows(result.output.substr(firstBreak + 1));
  std::vector<std::string> fields;
  for (std::string field; rows >> field;)
    fields.push_back(field);
  if (fields.size() < 4) return std::nullopt;
  return bytesOfKibibytes(number(fields[3]));
}

std::uint64_t AdbFiles::remoteBytes(const std::string& path, bool folders) const {
  if (folders) return usage(path);
  const std::string valid = RemotePath::validate(path);
  auto result = exec({"stat", "-c", "%s", "--", valid}, stepTimeout, false);
  auto bytes = number(firstLine(result.output));
  if (result.status != 0 || !bytes)
    throw FilesError::refused(fmt::format("could not read the size of {}", shown(valid)));
  return *bytes;
}

std::optional<std::string> AdbFiles::sha256(const std::string& path) const {
  const std::string valid = RemotePath::validate(path);
  auto result = exec({"sha256sum", "--", valid}, folderTimeout, false);
  if (result.status == toolMissing) return std::nullopt;
  auto digest = std::string_view(result.output).substr(0, 64);
  if (result.status != 0 || digest.size() != 64 ||
      digest.find_first_not_of("0123456789abcdef") != std::string_view::npos)
    throw FilesError::refused(
        fmt::format("could not read '{}' on the tablet to check it", shown(valid)));
  return std::string(digest);
}

bool AdbFiles::hashSupported() const {
  ShellResult result;
  try {
    result = exec({"sha256sum", "--", "/dev/null"}, stepTimeout, false);
  } catch (const FilesError&) {
    throw FilesError::refused("could not check that the tablet can read files back");
  }
  return result.status == 0 && result.output.starts_with(emptyDigest);
}

std::vector<std::string> AdbFiles::resolverCommand() const {
  if (auto known = caches_->resolver(serial_)) return *known;
  for (std::vector<std::string> candidate : {std::vector<std::string>{"readlink", "-e", "--"},
                                             std::vector<std::string>{"realpath", "--"}}) {
    auto result = exec(withPath(candidate, std::string(RemotePath::root)), stepTimeout, false);
    if (result.status == 0 && result.output.starts_with("/")) {
      caches_->setResolver(serial_, candidate);
      return candidate;
    }
  }
  throw FilesError::refused(
      "the tablet cannot say where /sdcard leads (neither readlink -e nor realpath works), so "
      "Files "
      "cannot check its paths");
}

std::optional<std::string> AdbFiles::resolved(const std::string& path) const {
  auto result = exec(withPath(resolverCommand(), path), stepTimeout, false);
  if (result.status != 0) return std::nullopt;
  auto line = firstLine(result.output);
  if (!line.starts_with("/")) return std::nullopt;
  return line;
}

std::string AdbFiles::confine(const std::string& path, bool mustExist) const {
  return confineChecked(path, mustExist).path;
}

AdbFiles::Confined AdbFiles::confineChecked(const std::string& path, bool mustExist) const {
  const std::string valid = RemotePath::validate(path);
  auto where = resolved(valid);
  if (!where) {
    if (present(valid))
      throw FilesError::refused(fmt::format("the tablet does not let adb read '{}'", shown(valid)));
    if (mustExist) throw FilesError::notFound(valid);
    // Nothing there yet: what must stay inside is the folder it would be made in.
    auto folder = RemotePath::parent(valid);
    if (!folder)
      throw FilesError::refused(fmt::format("the tablet does not let adb read '{}'", shown(valid)));
    confineChecked(*folder, false);
    return {valid, false};
  }
  if (!RemotePath::isInsideStorage(valid, *where))
    throw FilesError::refused(
        fmt::format("'{}' leads outside the tablet\u2019s shared storage (to {})", shown(valid),
                    shown(*where)));
  return {valid, RemotePath::isRoot(valid) || *where == RemotePath::canonicalRoot};
}

std::string AdbFiles::confineChange(const std::string& path, bool mustExist,
                                    std::string_view topRefusal) const {
  if (RemotePath::isRoot(RemotePath::validate(path)))
    throw FilesError::refused(std::string(topRefusal));
  auto confined = confineChecked(path, mustExist);
  if (confined.isTop) throw FilesError::refused(std::string(topRefusal));
  return confined.path;
}

std::string AdbFiles::confineItem(const std::string& path) const {
  const std::string valid = confine(path, true);
  auto found = entry(valid);
  if (!found) throw FilesError::notFound(valid);
  if (found->kind != RemoteEntry::Kind::file && found->kind != RemoteEntry::Kind::directory)
    throw FilesError::refused(fmt::format("'{}' is not a file or a folder", shown(valid)));
  return valid;
}

void AdbFiles::diagnoseFolder(const std::string& path) const {
  const std::string valid = RemotePath::validate(path);
  if (exec({"test", "-d", valid}, stepTimeout, false).status != 0) {
    if (present(valid))
      throw FilesError::refused(fmt::format("'{}' is not a folder", shown(valid)));
    throw FilesError::notFound(valid);
  }
  if (exec({"test", "-r", valid}, stepTimeout, false).status != 0 ||
      exec({"test", "-x", valid}, stepTimeout, false).status != 0)
    throw FilesError::refused(fmt::format("the tablet does not let adb read '{}'", shown(valid)));
}

}  // namespace lumivale
