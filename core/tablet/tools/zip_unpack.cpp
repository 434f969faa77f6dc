#include "core/tablet/tools/zip_unpack.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "core/archive_library.h"
#include "core/settings/file_system_error.h"
#include "core/tablet/tools/tools_error.h"
#include "core/tablet/unique_fd.h"

namespace lumivale {
namespace fs = std::filesystem;

namespace {

class Reader {
 public:
  explicit Reader(const ArchiveLibrary& library) : library_(library), archive_(library.readNew()) {}
  ~Reader() { library_.readFree(archive_); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ::archive* get() const { return archive_; }

  [[noreturn]] void fail(const std::string& what) const {
    const char* detail = library_.errorString(archive_);
    throw ToolsError("The download of Android’s tools could not be unpacked (" + what +
                     (detail ? std::string(": ") + detail : std::string()) + ").");
  }

 private:
  const ArchiveLibrary& library_;
  ::archive* archive_;
};

// The entry's place under `into`, or none when it would leave it.
std::optional<fs::path> placeOf(const fs::path& into, const std::string& name) {
  fs::path relative = fs::path(name).lexically_normal();
  if (name.empty() || relative.is_absolute() || relative.empty()) return std::nullopt;
  for (const auto& part : relative)
    if (part == "..") return std::nullopt;
  return into / relative;
}

void writeEntry(const ArchiveLibrary& library, const Reader& reader, const fs::path& place,
                mode_t mode, const StopToken* stop) {
  UniqueFd file(open(place.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode & 0755));
  if (file.get() < 0) throw FileSystemError("could not create", place, errno);
  char buffer[65536];
  for (;;) {
    if (stop) stop->throwIfCancelled();
    la_ssize_t count = library.readData(reader.get(), buffer, sizeof buffer);
    if (count < 0) reader.fail(place.filename().string());
    if (count == 0) break;
    for (la_ssize_t written = 0; written < count;) {
      ssize_t step = write(file.get(), buffer + written, static_cast<size_t>(count - written));
      if (step < 0 && errno == EINTR) continue;
      if (step < 0) throw FileSystemError("could not write", place, errno);
      written += step;
    }
  }
  if (fsync(file.get()) != 0) throw FileSystemError("could not write", place, errno);
}

}  // namespace

void unpackZip(const fs::path& archive, const fs::path& into, const StopToken* stop) {
  const ArchiveLibrary& library = archiveLibrary();
  Reader reader(library);
  library.supportZip(reader.get());
  if (library.openFilename(reader.get(), archive.c_str(), 65536) != ARCHIVE_OK)
    reader.fail("it is not a zip archive");
  archive_entry* entry = nullptr;
  for (;;) {
    if (stop) stop->throwIfCancelled();
    int status = library.nextHeader(reader.get(), &entry);
    if (status == ARCHIVE_EOF) break;
    if (status != ARCHIVE_OK && status != ARCHIVE_WARN) reader.fail("a damaged entry");
    std::string name = library.entryPathname(entry) ? library.entryPathname(entry) : "";
    auto place = placeOf(into, name);
    if (!place) reader.fail("'" + name + "' would land outside its folder");
    std::error_code error;
    fs::create_directories(place->parent_path(), error);
    if (error)
      throw FileSystemError("could not create the folder", place->parent_path(), error.value());
    switch (library.entryFiletype(entry)) {
      case AE_IFDIR:
        fs::create_directories(*place, error);
        if (error) throw FileSystemError("could not create the folder", *place, error.value());
        break;
      case AE_IFREG:
        writeEntry(library, reader, *place, library.entryPerm(entry), stop);
        break;
      default:
        // Google's archives hold only folders and plain files; a link could point anywhere.
        reader.fail("'" + name + "' is neither a file nor a folder");
    }
  }
}

}  // namespace lumivale
