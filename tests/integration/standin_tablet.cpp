#include "tests/integration/standin_tablet.h"

#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <random>
#include <sstream>
#include <thread>

#include <fmt/format.h>

#include "core/error.h"
#include "standin/control_client.h"

namespace lumivale::testing {
namespace fs = std::filesystem;
namespace {

using namespace std::chrono_literals;

std::string searchPath(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path ? path : "/usr/bin:/bin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    fs::path candidate = fs::path(folder) / name;
    if (::access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  throw Error(fmt::format("{} is not on PATH (scripts/setup installs it)", name));
}

const std::string& adbPath() {
  static const std::string path = searchPath("adb");
  return path;
}

fs::path makeTemporaryFolder(const std::string& prefix) {
  std::string pattern = (fs::temp_directory_path() / (prefix + ".XXXXXX")).string();
  if (!::mkdtemp(pattern.data())) throw Error(fmt::format("mkdtemp {}", pattern));
  return pattern;
}

bool loopbackPortIsFree(uint16_t port) {
  UniqueFd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return ::bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

// Where the ports the kernel hands out as the local end of outgoing connections begin.
int outgoingPortsStart() {
  std::ifstream range("/proc/sys/net/ipv4/ip_local_port_range");
  int low = 32768;
  range >> low;
  return low;
}

// A loopback port nobody listens on now, above adb's and the emulators' ports and
// below the outgoing ones: a connection to an outgoing port made while nothing
// listens there can be given that very port as its own end, and adb then reads
// its own request back ("protocol fault (status 30 30 30 63?!)").
uint16_t freeLoopbackPort() {
  constexpr int lowest = 10000;
  const int end = outgoingPortsStart();
  if (end <= lowest) throw Error(fmt::format("no test ports below the outgoing ones ({})", end));
  thread_local std::mt19937 generator{std::random_device{}()};
  std::uniform_int_distribution<int> pick(lowest, end - 1);
  for (int attempt = 0; attempt < 1000; ++attempt) {
    auto port = static_cast<uint16_t>(pick(generator));
    if (loopbackPortIsFree(port)) return port;
  }
  throw Error("cannot find a free loopback port");
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

ToolRun runAdb(const Environment& environment, const std::vector<std::string>& arguments,
               Seconds timeout) {
  return ToolRun::runIn(environment, adbPath(), arguments, timeout);
}

// Sanitizer settings reach the daemon, so that a run under the sanitizers checks it too.
void passSanitizerOptions(Environment& environment) {
  for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"})
    if (const char* value = std::getenv(name)) environment[name] = value;
}

}  // namespace

PrivateAdbServer::PrivateAdbServer()
    : port_(freeLoopbackPort()), home_(makeTemporaryFolder("lumivale-adb-home")) {
  const char* path = std::getenv("PATH");
  environment_ = {
      {"PATH", path ? path : "/usr/local/bin:/usr/bin:/bin"},
      {"HOME", home_.string()},
      {"ANDROID_ADB_SERVER_PORT", std::to_string(port_)},
      {"ANDROID_ADB_LOG_PATH", (home_ / "adb.log").string()},
      {"ADB_EMU", "0"},
      {"ADB_MDNS_AUTO_CONNECT", "0"},
      {"LANG", "C"},
  };
  ToolRun started = adb({"start-server"}, Seconds(60));
  if (started.status != 0)
    throw Error(fmt::format("adb start-server failed: {}", started.stderrData));
}

PrivateAdbServer::~PrivateAdbServer() {
  adb({"kill-server"}, Seconds(30));
  std::error_code ignored;
  fs::remove_all(home_, ignored);
}

ToolRun PrivateAdbServer::adb(const std::vector<std::string>& arguments, Seconds timeout) const {
  return runAdb(environment_, arguments, timeout);
}

ToolRun PrivateAdbServer::adbWithInput(const std::vector<std::string>& arguments,
                                       std::string_view input, Seconds timeout) const {
  fs::path inputFile =
      home_ / fmt::format("input.{}", std::hash<std::thread::id>()(std::this_thread::get_id()));
  std::ofstream(inputFile, std::ios::binary).write(input.data(), std::ssize(input));
  Environment environment = environment_;
  environment["LUMIVALE_INPUT"] = inputFile.string();
  std::vector<std::string> shellArguments{"-c", R"(exec "$0" "$@" < "$LUMIVALE_INPUT")", adbPath()};
  shellArguments.insert(shellArguments.end(), arguments.begin(), arguments.end());
  ToolRun run = ToolRun::runIn(environment, "/bin/sh", shellArguments, timeout);
  fs::remove(inputFile);
  return run;
}

StandinTablet::StandinTablet(StandinOptions options)
    : options_(std::move(options)), dataFolder_(makeTemporaryFolder("lumivale-standin")) {
  if (!options_.adbServer) options_.adbServer = std::make_shared<PrivateAdbServer>();
  startDaemon(freeLoopbackPort());
  connectAtStart();
}

StandinTablet::~StandinTablet() {
  stop();
  std::error_code ignored;
  if (!std::getenv("LUMIVALE_KEEP_STANDIN")) fs::remove_all(dataFolder_, ignored);
}

void StandinTablet::restart() {
  stop();
  start();
}

void StandinTablet::stop() {
  disconnect();
  stopDaemon();
}

void StandinTablet::start() {
  startDaemon(port_);
  connectAtStart();
}

void StandinTablet::connectAtStart() {
  if (!options_.connect) return;
  connect();
  // Unless the handshake is meant to fail, tests start on a tablet that is ready.
  for (const auto& fault : options_.faults)
    if (fault == "unauthorized" || fault == "offline") return;
  std::string state = waitForState("device");
  if (state != "device")
    throw Error(fmt::format("adb lists the stand-in {} as '{}', not as a device", serial_, state));
}

void StandinTablet::startDaemon(uint16_t port) {
  fs::path portFile = dataFolder_ / "port";
  fs::remove(portFile);
  Environment environment{{"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"},
                          {"LOG", (dataFolder_ / "standin.log").string()}};
  passSanitizerOptions(environment);
  std::vector<std::string> arguments{"-c",
                                     R"(exec "$0" "$@" >>"$LOG" 2>&1)",
                                     LUMIVALE_STANDIN_BINARY,
                                     "serve",
                                     "--data",
                                     dataFolder_.string(),
                                     "--port",
                                     std::to_string(port),
                                     "--exit-with-parent"};
  for (const auto& fault : options_.faults)
    arguments.push_back("--fault=" + fault);
  if (options_.plainStorage) arguments.push_back("--plain-storage");
  daemon_ = Spawn::launch("/bin/sh", arguments, environment, false, false);
  auto deadline = std::chrono::steady_clock::now() + 60s;
  while (!fs::exists(portFile)) {
    // Signal 0 only asks whether the daemon still runs.
    if (!daemon_->signalIfRunning(0) || std::chrono::steady_clock::now() > deadline) {
      stopDaemon();
      throw Error("lumivale-standin did not start: " + readFile(dataFolder_ / "standin.log"));
    }
    std::this_thread::sleep_for(10ms);
  }
  port_ = static_cast<uint16_t>(std::stoi(readFile(portFile)));
  serial_ = fmt::format("127.0.0.1:{}", port_);
}

void StandinTablet::stopDaemon() {
  if (!daemon_) return;
  thaw();  // a frozen daemon would take SIGTERM only once let go
  daemon_->signalIfRunning(SIGTERM);
  // A daemon that does not stop in time is killed, so teardown always ends.
  std::mutex mutex;
  std::condition_variable stopped;
  bool done = false;
  std::thread watchdog([&] {
    std::unique_lock lock(mutex);
    if (!stopped.wait_for(lock, 20s, [&] { return done; })) daemon_->signalIfRunning(SIGKILL);
  });
  daemon_->wait();
  {
    std::lock_guard guard(mutex);
    done = true;
  }
  stopped.notify_all();
  watchdog.join();
  daemon_.reset();
}

std::optional<uint16_t> StandinTablet::wifiPort() const {
  std::string port = readFile(dataFolder_ / "wifi-port");
  if (port.empty()) return std::nullopt;
  return static_cast<uint16_t>(std::stoi(port));
}

fs::path StandinTablet::storageFolder() const {
  // The storage is mounted where only the stand-in sees it; this is what it serves.
  return options_.plainStorage ? rootFolder() / "storage/emulated/0"
                               : rootFolder() / "data/media/0";
}

fs::path StandinTablet::hostPath(std::string_view tabletPath) const {
  // Links inside the root (/sdcard) point at tablet paths, so they are followed here.
  std::vector<std::string> pending;
  for (const auto& part : fs::path(tabletPath).relative_path())
    pending.push_back(part.string());
  std::reverse(pending.begin(), pending.end());
  fs::path resolved = rootFolder();
  for (int links = 0; !pending.empty();) {
    std::string part = std::move(pending.back());
    pending.pop_back();
    fs::path next = resolved / part;
    if (!fs::is_symlink(next) || ++links > 40) {
      resolved = next;
      continue;
    }
    fs::path target = fs::read_symlink(next);
    if (target.is_absolute()) resolved = rootFolder();
    std::vector<std::string> parts;
    for (const auto& piece : target.relative_path())
      parts.push_back(piece.string());
    pending.insert(pending.end(), parts.rbegin(), parts.rend());
  }
  resolved = resolved.lexically_normal();
  // What the stand-in shows in its storage lies in the folder behind it.
  fs::path inStorage = resolved.lexically_relative(rootFolder() / "storage/emulated/0");
  if (options_.plainStorage || inStorage.empty() || *inStorage.begin() == "..") return resolved;
  return (storageFolder() / inStorage).lexically_normal();
}

ToolRun StandinTablet::adb(std::vector<std::string> arguments, Seconds timeout) const {
  arguments.insert(arguments.begin(), {"-s", serial_});
  return options_.adbServer->adb(arguments, timeout);
}

ToolRun StandinTablet::adbWithInput(std::vector<std::string> arguments, std::string_view input,
                                    Seconds timeout) const {
  arguments.insert(arguments.begin(), {"-s", serial_});
  return options_.adbServer->adbWithInput(arguments, input, timeout);
}

ToolRun StandinTablet::shell(const std::string& command, Seconds timeout) const {
  return adb({"shell", command}, timeout);
}

ToolRun StandinTablet::connect() const {
  return options_.adbServer->adb({"connect", serial_}, Seconds(60));
}

void StandinTablet::disconnect() const {
  if (!serial_.empty()) options_.adbServer->adb({"disconnect", serial_}, Seconds(30));
}

std::string StandinTablet::state() const {
  std::istringstream lines(options_.adbServer->adb({"devices"}, Seconds(30)).stdoutData);
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with(serial_ + "\t")) return line.substr(serial_.size() + 1);
  return "";
}

std::string StandinTablet::waitForState(std::string_view wanted, Seconds timeout) const {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  std::string seen = state();
  while (seen != wanted && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(50ms);
    seen = state();
  }
  return seen;
}

std::string StandinTablet::control(const std::string& request) const {
  return standin::sendControlRequest(dataFolder_ / "control", request);
}

void StandinTablet::setFault(const std::string& fault) const {
  control("fault " + fault);
}
void StandinTablet::clearFault(const std::string& name) const {
  control("clear " + name);
}
void StandinTablet::clearFaults() const {
  control("clear");
}
void StandinTablet::dropConnections() const {
  control("drop");
}

std::string StandinTablet::clipboardRecord() const {
  std::string record = control("clipboard");
  if (!record.empty() && record.back() == '\n') record.pop_back();
  return record;
}
void StandinTablet::copyOnTablet(const std::string& clipJson) const {
  control("clipboard copy " + clipJson);
}

void StandinTablet::freeze() const {
  daemon_->signalIfRunning(SIGSTOP);
}
void StandinTablet::thaw() const {
  daemon_->signalIfRunning(SIGCONT);
}

std::vector<std::string> StandinTablet::faults() const {
  std::vector<std::string> listed;
  std::istringstream lines(control("faults"));
  for (std::string line; std::getline(lines, line);)
    listed.push_back(line);
  return listed;
}

std::string StandinTablet::inputLog() const {
  return readFile(hostPath("/data/standin/input.log"));
}

}  // namespace lumivale::testing
