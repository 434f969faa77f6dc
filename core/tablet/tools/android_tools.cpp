#include "core/tablet/tools/android_tools.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include <fmt/format.h>

#include "core/crypto_library.h"
#include "core/settings/file_lock.h"
#include "core/settings/file_system_error.h"
#include "core/settings/lumivale_config.h"
#include "core/tablet/adb_locate.h"
#include "core/tablet/system_calls.h"
#include "core/tablet/tools/platform_tools_manifest.h"
#include "core/tablet/tools/tools_download.h"
#include "core/tablet/tools/tools_error.h"
#include "core/tablet/tools/zip_unpack.h"
#include "core/tablet/unique_fd.h"

namespace lumivale::AndroidTools {
namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t maxManifestBytes = 32ull << 20;
constexpr Seconds manifestTimeout{60};
const std::string kTools = "Android’s tools";
const std::string kManifest = "Google’s list of Android’s tools";

// The scratch folder of the install under way, removed with whatever it holds when the
// install ends, however it ends. The lock makes any one found at the start a leftover.
class Staging {
 public:
  explicit Staging(const fs::path& supportFolder)
      : folder_(supportFolder / ".platform-tools-staging") {
    removeAll();
    std::error_code error;
    fs::create_directory(folder_, error);
    if (error) throw FileSystemError("could not create the folder", folder_, error.value());
    fs::permissions(folder_, fs::perms::owner_all, error);
  }
  ~Staging() { removeAll(); }
  Staging(const Staging&) = delete;
  Staging& operator=(const Staging&) = delete;
  const fs::path& folder() const { return folder_; }

 private:
  void removeAll() {
    std::error_code error;
    fs::remove_all(folder_, error);
  }
  fs::path folder_;
};

std::string archiveUrl(const std::string& manifestUrl, const std::string& named) {
  if (named.find("://") != std::string::npos) {
    if (LumivaleConfig::endpointURL(named)) return named;
  } else if (named.find_first_of("/\\?#:") == std::string::npos && named != "." && named != "..") {
    return manifestUrl.substr(0, manifestUrl.rfind('/') + 1) + named;
  }
  throw ToolsError(kManifest + " names its archive at an address that cannot be used: " + named);
}

std::string fetchManifest(const ToolsInstallOptions& options, const StopToken& stop) {
  if (!LumivaleConfig::endpointURL(options.manifestUrl))
    throw ToolsError("The address of " + kManifest +
                     " is not a web address: " + options.manifestUrl);
  std::string xml;
  fetchInto(
      options.manifestUrl, kManifest, [&](std::string_view piece) { xml.append(piece); },
      maxManifestBytes, std::nullopt, nullptr, manifestTimeout, &stop);
  return xml;
}

void syncFolder(const fs::path& folder) {
  UniqueFd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.get() >= 0) fsync(fd.get());
}

// Downloads the archive into `file`, checking it against the manifest.
void download(const std::string& url, const PlatformToolsArchive& archive, const fs::path& file,
              Seconds timeout, TransferObserver* progress, const StopToken& stop) {
  UniqueFd fd(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (fd.get() < 0) throw FileSystemError("could not create", file, errno);
  Digest digest(archive.checksumType == "sha256" ? Digest::Kind::sha256 : Digest::Kind::sha1);
  std::uint64_t received = 0;
  auto sink = [&](std::string_view piece) {
    digest.update(piece);
    received += piece.size();
    for (size_t written = 0; written < piece.size();) {
      ssize_t step = write(fd.get(), piece.data() + written, piece.size() - written);
      if (step < 0 && errno == EINTR) continue;
      if (step < 0) throw FileSystemError("could not write", file, errno);
      written += static_cast<size_t>(step);
    }
  };
  fetchInto(url, kTools, sink, archive.size, archive.size, progress, timeout, &stop);
  if (received != archive.size)
    throw ToolsError(fmt::format(
        "The download of {} is {} bytes where Google’s list says {}, so it was not installed. "
        "Try again.",
        kTools, received, archive.size));
  if (digest.finishHex() != archive.checksum)
    throw ToolsError("The download of " + kTools +
                     " does not match Google’s checksum, so it was not installed. Try again.");
}

void moveIntoPlace(const fs::path& staged, const fs::path& target) {
  if (SystemCalls::renameNoReplace(staged.c_str(), target.c_str()) == 0) return;
  if (errno != EEXIST && errno != ENOTEMPTY)
    throw FileSystemError("could not move into place", target, errno);
  // The earlier copy and the new one change places; the earlier one leaves with the staging.
  if (SystemCalls::exchangePaths(staged.c_str(), target.c_str()) != 0)
    throw FileSystemError("could not move into place", target, errno);
}

}  // namespace

fs::path copyFolder(const fs::path& supportFolder) {
  return supportFolder / "platform-tools";
}

ToolsReceipt install(const ToolsInstallOptions& options, TransferObserver* progress,
                     const StopToken& command) {
  const StopToken stop = command.child(options.deadline);
  std::error_code error;
  fs::create_directories(options.supportFolder, error);
  if (error)
    throw FileSystemError("could not create the folder", options.supportFolder, error.value());
  FileLock lock(options.supportFolder / "platform-tools.lock");
  Staging staging(options.supportFolder);

  std::string xml = fetchManifest(options, stop);
  PlatformToolsArchive archive = PlatformToolsManifest::newestFor(
      xml, PlatformToolsManifest::hostOs(), PlatformToolsManifest::hostArch());
  std::string url = archiveUrl(options.manifestUrl, archive.url);
  fs::path zip = staging.folder() / "platform-tools.zip";
  download(url, archive, zip, options.deadline, progress, stop);

  fs::path unpacked = staging.folder() / "unpacked";
  fs::create_directory(unpacked, error);
  if (error) throw FileSystemError("could not create the folder", unpacked, error.value());
  unpackZip(zip, unpacked, &stop);
  fs::path staged = copyFolder(unpacked);
  if (!AdbLocate::answeredVersion(staged / "adb", &stop))
    throw ToolsError(
        "The adb in Google’s download did not answer adb version, so it was not "
        "installed.");
  ToolsReceipt receipt =
      ToolsReceipt::of(staged, archive.version, url, archive.checksumType + ":" + archive.checksum);
  receipt.writeInto(staged);
  syncFolder(staged);
  stop.throwIfCancelled();
  moveIntoPlace(staged, copyFolder(options.supportFolder));
  syncFolder(options.supportFolder);
  return receipt;
}

bool remove(const fs::path& supportFolder) {
  fs::path copy = copyFolder(supportFolder);
  std::error_code error;
  if (!fs::exists(supportFolder, error)) return false;
  FileLock lock(supportFolder / "platform-tools.lock");
  if (!fs::exists(copy, error)) return false;
  // Out of its place in one step, so no half-removed copy is ever taken for adb.
  Staging staging(supportFolder);
  fs::path leaving = staging.folder() / "platform-tools";
  if (::rename(copy.c_str(), leaving.c_str()) != 0)
    throw FileSystemError("could not remove", copy, errno);
  syncFolder(supportFolder);
  return true;
}

}  // namespace lumivale::AndroidTools
