#include "core/upkeep/tar_gz_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "core/archive_library.h"
#include "core/settings/file_system_error.h"

namespace lumivale {
namespace {

void writeMembers(const ArchiveLibrary& lib, archive* writer, int fd, const std::string& path,
                  const std::vector<ArchiveMember>& members) {
  auto failed = [&] {
    const char* said = lib.errorString(writer);
    return Error(fmt::format("could not write {}: {}", path, said ? said : "libarchive failed"));
  };
  if (lib.addGzip(writer) != ARCHIVE_OK || lib.setPax(writer) != ARCHIVE_OK ||
      lib.openFd(writer, fd) != ARCHIVE_OK)
    throw failed();
  const std::time_t now = std::time(nullptr);
  for (const auto& member : members) {
    std::unique_ptr<archive_entry, decltype(lib.entryFree)> entry(lib.entryNew(), lib.entryFree);
    lib.setPath(entry.get(), member.name.c_str());
    lib.setSize(entry.get(), static_cast<la_int64_t>(member.content.size()));
    lib.setType(entry.get(), AE_IFREG);
    lib.setPerm(entry.get(), 0600);
    lib.setModified(entry.get(), now, 0);
    if (lib.writeHeader(writer, entry.get()) != ARCHIVE_OK) throw failed();
    if (!member.content.empty() &&
        lib.writeData(writer, member.content.data(), member.content.size()) !=
            static_cast<la_ssize_t>(member.content.size()))
      throw failed();
  }
  if (lib.writeClose(writer) != ARCHIVE_OK) throw failed();
}

}  // namespace

void writeTarGz(const std::filesystem::path& file, const std::vector<ArchiveMember>& members) {
  const ArchiveLibrary& lib = archiveLibrary();
  const std::string partial = file.string() + ".partial";
  // Private from its first byte.
  int fd = ::open(partial.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0 || ::fchmod(fd, 0600) != 0) {
    int code = errno;
    if (fd >= 0) ::close(fd);
    throw FileSystemError("could not create", partial, code);
  }
  try {
    std::unique_ptr<archive, decltype(lib.writeFree)> writer(lib.writeNew(), lib.writeFree);
    if (!writer) throw Error("could not start an archive: out of memory");
    writeMembers(lib, writer.get(), fd, partial, members);
    writer.reset();
    if (::close(std::exchange(fd, -1)) != 0)
      throw FileSystemError("could not write", partial, errno);
    if (::rename(partial.c_str(), file.c_str()) != 0)
      throw FileSystemError("could not write", file, errno);
  } catch (...) {
    if (fd >= 0) ::close(fd);
    ::unlink(partial.c_str());
    throw;
  }
}

}  // namespace lumivale
