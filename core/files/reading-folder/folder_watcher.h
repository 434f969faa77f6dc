#pragma once

namespace lumivale {

// Watches a folder of the computer, its whole tree, from creation to destruction, and calls
// `changed` whenever something in it may have changed: on a thread of its own, one call at a
// time, possibly once for many changes and possibly when nothing did (after events were
// lost), never after destruction. One implementation per system in platform/ (the kernel's
// inotify on Linux, the file system events on macOS).
class FolderWatcher {
 public:
  virtual ~FolderWatcher() = default;
};

}  // namespace lumivale
