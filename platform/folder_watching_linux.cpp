#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <thread>

#include <fmt/format.h>

#include "core/error.h"
#include "core/settings/log.h"
#include "core/tablet/unique_fd.h"
#include "platform/folder_watching.h"

namespace lumivale::FolderWatching {
namespace {

namespace fs = std::filesystem;

// What may change what a scan reads; reading alone (the scan's own) is left out.
constexpr std::uint32_t kChanges = IN_CREATE | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE |
                                   IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF |
                                   IN_MOVE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW;

// Hidden items are never copied, so their churn (an editor's swap file) runs nothing; a
// hidden name renamed to a visible one still counts, by its new name.
bool hidden(const char* name) {
  return name[0] == '.';
}

std::string cannotWatch(const fs::path& folder, int error) {
  if (error == ENOSPC) {
    return fmt::format(
        "could not watch {} for changes: this computer's limit of watched folders is reached "
        "(raise fs.inotify.max_user_watches)",
        folder.string());
  }
  return fmt::format("could not watch {} for changes: {}", folder.string(), std::strerror(error));
}

// inotify watches one folder at a time: every folder of the tree gets a watch, and a folder
// made or moved in later gets one as soon as it is seen.
class InotifyFolderWatcher final : public FolderWatcher {
 public:
  InotifyFolderWatcher(const fs::path& folder, std::function<void()> changed)
      : root_(folder), changed_(std::move(changed)) {
    inotify_ = UniqueFd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    stopEvent_ = UniqueFd(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!inotify_ || !stopEvent_) throw Error(cannotWatch(root_, errno));
    if (const int error = watchTree(root_)) throw Error(cannotWatch(root_, error));
    follower_ = std::thread([this] { follow(); });
  }

  ~InotifyFolderWatcher() override {
    const std::uint64_t one = 1;
    [[maybe_unused]] auto written = ::write(stopEvent_.get(), &one, sizeof one);
    follower_.join();
  }

 private:
  // Adds a watch to `top` and to every visible folder inside it; the error of `top` itself,
  // or of any folder when the system's limit is reached, else 0. A folder that cannot be
  // read is not watched: the scan cannot read it either, and says so.
  int watchTree(const fs::path& top) {
    if (const int error = watch(top); error != 0) return error;
    std::error_code error;
    for (auto item = fs::recursive_directory_iterator(
             top, fs::directory_options::skip_permission_denied, error);
         !error && item != fs::recursive_directory_iterator(); item.increment(error)) {
      std::error_code kind;
      if (!item->is_directory(kind) || item->is_symlink(kind)) continue;
      if (hidden(item->path().filename().c_str())) {
        item.disable_recursion_pending();
        continue;
      }
      if (watch(item->path()) == ENOSPC) return ENOSPC;
    }
    return 0;
  }

  int watch(const fs::path& folder) {
    const int descriptor = ::inotify_add_watch(inotify_.get(), folder.c_str(), kChanges);
    if (descriptor < 0) return errno;
    folders_[descriptor] = folder;
    return 0;
  }

  // A folder moved away is no longer ours; moved within the tree it is watched again by
  // its new name.
  void forgetTree(const fs::path& top) {
    for (auto it = folders_.begin(); it != folders_.end();) {
      const auto relative = it->second.lexically_relative(top);
      if (!relative.empty() && *relative.begin() != "..") {
        ::inotify_rm_watch(inotify_.get(), it->first);
        it = folders_.erase(it);
      } else {
        ++it;
      }
    }
  }

  void follow() {
    pollfd waits[2] = {{inotify_.get(), POLLIN, 0}, {stopEvent_.get(), POLLIN, 0}};
    while (true) {
      if (::poll(waits, 2, -1) < 0 && errno != EINTR) {
        // Changes here would go unseen from now on: said in the log, and one more run
        // reads the folder as it stands.
        logWarning("watching {} stopped: {}", root_.string(), std::strerror(errno));
        changed_();
        return;
      }
      if (waits[1].revents != 0) return;
      if (waits[0].revents != 0 && readEvents()) changed_();
    }
  }

  // Reads what is there; true when something a scan would see may have changed.
  bool readEvents() {
    alignas(inotify_event) char buffer[16 * 1024];
    bool relevant = false;
    bool lost = false;
    while (true) {
      const auto got = ::read(inotify_.get(), buffer, sizeof buffer);
      if (got <= 0) break;
      for (auto* at = buffer; at < buffer + got;) {
        const auto* event = reinterpret_cast<const inotify_event*>(at);
        at += sizeof(inotify_event) + event->len;
        if (event->mask & IN_Q_OVERFLOW) {
          lost = true;
          continue;
        }
        const auto folder = folders_.find(event->wd);
        if (folder == folders_.end()) continue;
        if (event->mask & IN_IGNORED) {
          folders_.erase(folder);
          continue;
        }
        const char* name = event->len > 0 ? event->name : "";
        if (*name != '\0' && hidden(name)) continue;
        relevant = true;
        if (!(event->mask & IN_ISDIR) || *name == '\0') continue;
        const fs::path path = folder->second / name;
        if (event->mask & IN_MOVED_FROM) forgetTree(path);
        if (event->mask & (IN_CREATE | IN_MOVED_TO)) watchTree(path);
      }
    }
    // Events were lost, folders made among them too: the whole tree is looked at again,
    // and a run reads it all anyway.
    if (lost) watchTree(root_);
    return relevant || lost;
  }

  const fs::path root_;
  const std::function<void()> changed_;
  UniqueFd inotify_;
  UniqueFd stopEvent_;
  std::map<int, fs::path> folders_;  // by watch; the follower's alone once it runs
  std::thread follower_;
};

}  // namespace

std::unique_ptr<FolderWatcher> start(const std::filesystem::path& folder,
                                     std::function<void()> changed) {
  return std::make_unique<InotifyFolderWatcher>(folder, std::move(changed));
}

}  // namespace lumivale::FolderWatching
