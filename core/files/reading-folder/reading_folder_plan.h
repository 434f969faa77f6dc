#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "core/files/reading-folder/reading_folder_note.h"

namespace lumivale {

// What a sync run does, in order. `mac` paths are relative to the computer's folder;
// tablet paths (from, to, at, beside, path) are relative to the tablet folder.
struct ReadingFolderPlan {
  struct RenameCase {  // a rename that only changed capitals: the tablet copy is renamed
    std::string from;
    std::string to;
    std::optional<std::string> mac;  // the computer file the copy now belongs to
    bool operator==(const RenameCase&) const = default;
  };
  struct Remove {  // the unchanged tablet copy of a file deleted on the computer
    std::string mac;
    std::string at;
    bool operator==(const Remove&) const = default;
  };
  struct MakeFolder {
    std::string path;
    bool operator==(const MakeFolder&) const = default;
  };
  struct Copy {  // `replacing` an unchanged earlier copy
    std::string mac;
    std::string to;
    bool replacing = false;
    bool operator==(const Copy&) const = default;
  };
  struct KeepBoth {  // the computer's version goes beside the tablet's, named `as`
    std::string mac;
    std::string beside;
    std::string as;  // a name in the folder of `beside`
    bool operator==(const KeepBoth&) const = default;
  };
  struct Adopt {  // the tablet file already holds these bytes: recorded as the copy
    std::string mac;
    std::string at;
    bool operator==(const Adopt&) const = default;
  };
  struct RemoveFolder {  // a folder the Reading folder made, once it is empty
    std::string path;
    bool operator==(const RemoveFolder&) const = default;
  };
  using Action = std::variant<RenameCase, Remove, MakeFolder, Copy, KeepBoth, Adopt, RemoveFolder>;

  // Record changes that need nothing done on the tablet.
  struct Forget {  // drop a record; `keptOnTablet` is the copy left in place
    std::string mac;
    std::optional<std::string> keptOnTablet;
    bool operator==(const Forget&) const = default;
  };
  struct Touch {  // same bytes with a new date or identity, or a record following a rename
    std::string mac;
    std::string oldMac;
    std::int64_t size = 0;
    double modified = 0;
    bool operator==(const Touch&) const = default;
  };
  struct RemovedOnTablet {  // the user deleted the copy on the tablet
    std::string mac;
    bool operator==(const RemovedOnTablet&) const = default;
  };
  struct ForgetFolder {
    std::string path;
    bool operator==(const ForgetFolder&) const = default;
  };
  using Bookkeeping = std::variant<Forget, Touch, RemovedOnTablet, ForgetFolder>;

  std::vector<Action> actions;
  std::vector<Bookkeeping> bookkeeping;
  std::vector<ReadingFolderNote> notes;
  int unchanged = 0;
  // Computer changes not put in place: kept beside a copy changed on the tablet, or
  // blocked by a tablet file holding a folder's name.
  int held = 0;

  bool operator==(const ReadingFolderPlan&) const = default;
};

}  // namespace lumivale
