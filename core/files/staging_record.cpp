#include "core/files/staging_record.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <mutex>
#include <random>
#include <set>

#include <fmt/format.h>

#include "core/files/adb_files.h"

namespace lumivale {

namespace {

constexpr std::string_view header = "lumivale staging record 1";
// How long a record written on another computer counts as that computer's work.
constexpr std::chrono::hours foreignTrust{24};

std::string thisHost() {
  char name[256] = {};
  if (::gethostname(name, sizeof name - 1) != 0) return "unknown";
  return name;
}

std::optional<std::int64_t> number(std::string_view text) {
  std::int64_t value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<StagingRecord::Operation> operationNamed(std::string_view text) {
  using Operation = StagingRecord::Operation;
  if (text == "copy") return Operation::copy;
  if (text == "delete") return Operation::remove;
  if (text == "rename") return Operation::rename;
  return std::nullopt;
}

std::string_view operationName(StagingRecord::Operation operation) {
  switch (operation) {
    case StagingRecord::Operation::copy:
      return "copy";
    case StagingRecord::Operation::remove:
      return "delete";
    case StagingRecord::Operation::rename:
      return "rename";
  }
  return "copy";
}

bool isId(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::mutex liveLock;
std::set<std::string>& liveIds() {
  static std::set<std::string> ids;
  return ids;
}

}  // namespace

std::string_view rawValue(Leftover kind) {
  switch (kind) {
    case Leftover::unfinishedCopy:
      return "unfinishedCopy";
    case Leftover::unfinishedDelete:
      return "unfinishedDelete";
    case Leftover::keptCopy:
      return "keptCopy";
    case Leftover::unfinishedRename:
      return "unfinishedRename";
  }
  return "unfinishedCopy";
}

StagingRecord StagingRecord::mine(std::string id, Operation operation, std::string name,
                                  std::string newName) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return StagingRecord{std::move(id),
                       operation,
                       std::move(name),
                       std::move(newName),
                       thisHost(),
                       static_cast<std::int64_t>(::getpid()),
                       std::chrono::duration_cast<std::chrono::seconds>(now).count()};
}

std::vector<std::string> StagingRecord::lines() const {
  std::vector<std::string> out{std::string(header), "id=" + id,
                               fmt::format("operation={}", operationName(operation)),
                               "name=" + name};
  if (operation == Operation::rename) out.push_back("newName=" + newName);
  out.push_back("host=" + host);
  out.push_back(fmt::format("pid={}", pid));
  out.push_back(fmt::format("started={}", started));
  return out;
}

std::vector<StagingRecord> StagingRecord::parseAll(std::string_view text) {
  std::vector<StagingRecord> records;
  std::optional<StagingRecord> current;
  std::set<std::string> seen;
  auto finish = [&] {
    const bool whole = current && isId(current->id) && !current->name.empty() &&
                       seen.count("operation") && seen.count("host") && seen.count("pid") &&
                       seen.count("started") &&
                       (current->operation != Operation::rename || !current->newName.empty());
    if (whole) records.push_back(*current);
    current.reset();
    seen.clear();
  };
  std::size_t start = 0;
  while (start < text.size()) {
    auto end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view line = text.substr(start, end - start);
    start = end + 1;
    if (line == header) {
      finish();
      current.emplace();
      continue;
    }
    const auto equals = line.find('=');
    if (!current || equals == std::string_view::npos) continue;
    const std::string key(line.substr(0, equals));
    const std::string_view value = line.substr(equals + 1);
    bool understood = true;
    if (key == "id") {
      current->id = value;
    } else if (key == "operation") {
      auto operation = operationNamed(value);
      understood = operation.has_value();
      if (operation) current->operation = *operation;
    } else if (key == "name") {
      current->name = value;
    } else if (key == "newName") {
      current->newName = value;
    } else if (key == "host") {
      current->host = value;
    } else if (key == "pid" || key == "started") {
      auto parsed = number(value);
      understood = parsed.has_value();
      (key == "pid" ? current->pid : current->started) = parsed.value_or(0);
    }
    if (understood) seen.insert(key);
  }
  finish();
  return records;
}

std::string StagingRecord::fileName(std::string_view id) {
  return fmt::format("{}{}", recordPrefix, id);
}

std::string StagingRecord::newId() {
  static thread_local std::mt19937_64 generator{std::random_device{}()};
  return fmt::format("{:016x}", generator());
}

std::optional<StagedName> StagedName::of(std::string_view name) {
  // The kept prefix begins with the partial one, so it is looked for first.
  static constexpr std::pair<std::string_view, Leftover> prefixes[] = {
      {AdbFiles::keptPrefix, Leftover::keptCopy},
      {AdbFiles::partialPrefix, Leftover::unfinishedCopy},
      {AdbFiles::deletingPrefix, Leftover::unfinishedDelete},
      {AdbFiles::renamingPrefix, Leftover::unfinishedRename},
  };
  for (const auto& [prefix, kind] : prefixes) {
    if (name.starts_with(prefix)) return StagedName{kind, std::string(name.substr(prefix.size()))};
  }
  return std::nullopt;
}

bool ownerRunning(const StagingRecord& record, Timestamp now) {
  if (record.host != thisHost())
    return now - Timestamp(std::chrono::seconds(record.started)) < foreignTrust;
  if (record.pid == ::getpid()) {
    std::lock_guard lock(liveLock);
    return liveIds().count(record.id) > 0;
  }
  if (record.pid <= 0) return false;
  // A process id the system gave to another program since only delays clean-up.
  return ::kill(static_cast<pid_t>(record.pid), 0) == 0 || errno == EPERM;
}

LiveStaging::LiveStaging(std::string id) : id_(std::move(id)) {
  std::lock_guard lock(liveLock);
  liveIds().insert(id_);
}

LiveStaging::~LiveStaging() {
  std::lock_guard lock(liveLock);
  liveIds().erase(id_);
}

}  // namespace lumivale
