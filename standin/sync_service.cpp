#include "standin/sync_service.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "standin/adb_message.h"
#include "standin/write_all.h"

namespace lumivale::standin {
namespace {

constexpr size_t kMaxPathLength = 1024;
constexpr size_t kMaxDataChunk = 64 * 1024;

// Reads the sync requests' byte stream, which the host cuts at arbitrary points.
class SyncReader {
 public:
  explicit SyncReader(AdbStream& stream) : stream_(stream) {}

  bool read(char* out, size_t size) {
    while (size > 0) {
      if (used_ == buffer_.size()) {
        auto next = stream_.take();
        if (!next) return false;
        buffer_ = std::move(*next);
        used_ = 0;
      }
      size_t piece = std::min(size, buffer_.size() - used_);
      std::memcpy(out, buffer_.data() + used_, piece);
      used_ += piece;
      out += piece;
      size -= piece;
    }
    return true;
  }

  // A request or data header: four-letter id and a length.
  bool header(std::string& id, uint32_t& length) {
    char bytes[8];
    if (!read(bytes, sizeof bytes)) return false;
    id.assign(bytes, 4);
    length = readLittleEndian32(reinterpret_cast<unsigned char*>(bytes + 4));
    return true;
  }

 private:
  AdbStream& stream_;
  std::string buffer_;
  size_t used_ = 0;
};

// Collects answers and sends them in as few WRTEs as the payload limit allows.
class SyncWriter {
 public:
  explicit SyncWriter(AdbStream& stream) : stream_(stream) {}

  void record(std::string_view id, std::initializer_list<uint32_t> fields,
              std::string_view data = {}) {
    pending_.append(id);
    for (uint32_t field : fields)
      putLittleEndian32(pending_, field);
    pending_.append(data);
  }
  void failure(std::string_view message) {
    record("FAIL", {static_cast<uint32_t>(message.size())}, message);
  }
  bool roomFor(size_t size) const { return pending_.size() + size <= stream_.maxPayload(); }
  bool flush() {
    bool sent = stream_.write(pending_);
    pending_.clear();
    return sent;
  }

 private:
  AdbStream& stream_;
  std::string pending_;
};

class SyncSession {
 public:
  SyncSession(AdbStream& stream, const SyncContext& context)
      : context_(context), reader_(stream), writer_(stream) {}

  void run() {
    std::string id;
    uint32_t length = 0;
    while (reader_.header(id, length)) {
      if (id == "QUIT" || length > kMaxPathLength) return;
      std::string path(length, '\0');
      if (!reader_.read(path.data(), length)) return;
      bool going = true;
      if (id == "STAT")
        stat(path);
      else if (id == "LIST")
        list(path);
      else if (id == "SEND")
        going = send(path);
      else if (id == "RECV")
        going = receive(path);
      else
        return;
      if (!going || !writer_.flush()) return;
    }
  }

 private:
  static uint32_t mtimeOf(const struct stat& info) { return static_cast<uint32_t>(info.st_mtime); }

  void stat(const std::string& path) {
    struct stat info {};
    if (!context_.files.stat(path, info)) info = {};
    writer_.record("STAT", {info.st_mode, static_cast<uint32_t>(info.st_size), mtimeOf(info)});
  }

  void list(const std::string& path) {
    UniqueFd folder = context_.files.open(path, O_RDONLY | O_DIRECTORY);
    if (DIR* entries = folder ? ::fdopendir(::dup(folder.get())) : nullptr) {
      while (dirent* entry = ::readdir(entries)) {
        struct stat info {};
        if (::fstatat(folder.get(), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
        std::string_view name(entry->d_name);
        if (!writer_.roomFor(20 + name.size())) writer_.flush();
        writer_.record("DENT",
                       {info.st_mode, static_cast<uint32_t>(info.st_size), mtimeOf(info),
                        static_cast<uint32_t>(name.size())},
                       name);
      }
      ::closedir(entries);
    }
    writer_.record("DONE", {0, 0, 0, 0});
  }

  // Counts file data and cuts the connection once the fault's limit is passed.
  bool carried(size_t size) {
    carried_ += size;
    if (!context_.dropAfterBytes || carried_ <= *context_.dropAfterBytes) return true;
    context_.dropConnection();
    return false;
  }

  bool send(const std::string& request) {
    auto comma = request.rfind(',');
    std::string path = request.substr(0, comma);
    mode_t mode = comma == std::string::npos
                      ? 0644
                      : static_cast<mode_t>(std::strtoul(request.c_str() + comma + 1, nullptr, 10));
    bool link = S_ISLNK(mode);
    std::string linkTarget;
    UniqueFd file;
    int error = 0;
    if (!context_.files.makeParents(path)) {
      error = errno;
    } else if (!link) {
      file = context_.files.open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
      if (!file || ::fchmod(file.get(), mode & 07777) != 0) error = errno;
    }
    std::string id;
    uint32_t length = 0;
    std::string chunk;
    for (;;) {
      if (!reader_.header(id, length)) return false;
      if (id == "DONE") break;
      if (id != "DATA" || length > kMaxDataChunk) return false;
      chunk.resize(length);
      if (!reader_.read(chunk.data(), length) || !carried(length)) return false;
      if (link)
        linkTarget.append(chunk);
      else if (!error && !writeAll(file.get(), chunk))
        error = errno;
    }
    if (!error && link) error = makeLink(path, linkTarget);
    if (!error && file) {
      timespec times[2] = {{static_cast<time_t>(length), 0}, {static_cast<time_t>(length), 0}};
      if (::futimens(file.get(), times) != 0) error = errno;
    }
    if (error)
      writer_.failure(std::strerror(error));
    else
      writer_.record("OKAY", {0});
    return true;
  }

  int makeLink(const std::string& path, const std::string& target) {
    std::string leaf;
    UniqueFd parent = context_.files.openParent(path, leaf);
    if (!parent) return errno;
    ::unlinkat(parent.get(), leaf.c_str(), 0);
    return ::symlinkat(target.c_str(), parent.get(), leaf.c_str()) == 0 ? 0 : errno;
  }

  bool receive(const std::string& path) {
    UniqueFd file = context_.files.open(path, O_RDONLY);
    if (!file) {
      writer_.failure(std::strerror(errno));
      return true;
    }
    std::string chunk(kMaxDataChunk, '\0');
    for (;;) {
      ssize_t got = ::read(file.get(), chunk.data(), chunk.size());
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) {
        writer_.failure(std::strerror(errno));
        return true;
      }
      if (got == 0) break;
      if (!carried(static_cast<size_t>(got))) return false;
      if (!writer_.roomFor(8 + static_cast<size_t>(got)) && !writer_.flush()) return false;
      writer_.record("DATA", {static_cast<uint32_t>(got)},
                     std::string_view(chunk.data(), static_cast<size_t>(got)));
    }
    writer_.record("DONE", {0});
    return true;
  }

  const SyncContext& context_;
  SyncReader reader_;
  SyncWriter writer_;
  uint64_t carried_ = 0;
};

}  // namespace

void runSync(AdbStream& stream, const SyncContext& context) {
  SyncSession(stream, context).run();
  stream.close();
}

}  // namespace lumivale::standin
