#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "core/error.h"
#include "core/files/reading-folder/reading_tree.h"
#include "core/tablet/tablet_shell.h"
#include "core/tablet/tool_run.h"

// Shared by the AdbFiles sources only.
namespace lumivale::files_detail {

// One quick shell step (stat, mv, test).
inline constexpr Seconds stepTimeout{30};
// Listing one folder: a tablet lists 10,000 entries in a second or two.
inline constexpr Seconds listTimeout{60};
// A step whose time grows with all a folder holds, however deep (du, rm -r).
inline constexpr Seconds folderTimeout{600};
// How deep a search of the whole storage for leftovers looks; far deeper than people file.
inline constexpr int leftoverSearchDepth = 24;
// Bytes of quoted paths in one shell line; far inside what adbd accepts.
inline constexpr std::size_t batchBudget = 32 * 1024;
// Bytes of local paths in one `adb push`, inside the 1 MiB a Mac allows for a command's arguments.
inline constexpr std::size_t localBatchBudget = 512 * 1024;

inline constexpr std::string_view topChange =
    "the top of the tablet\u2019s storage cannot be changed";

// "68,719,476,736 bytes", as size messages give amounts.
std::string byteCount(std::uint64_t bytes);

// The path as messages show it.
std::string shown(std::string_view path);

using TabletShell::firstLine;

// find's -printf for items read with their identity (the inode: a move keeps it, a new copy
// does not), each followed by its path and a NUL (-print0).
inline constexpr std::string_view identifiedFormat = "%i|%M|%s|%T@|";
// Such items by absolute path; a record that cannot be read is passed over.
std::map<std::string, ReadingTree::Item> identifiedItems(std::string_view output);

// Called while handling `error` from an operation that could not clear what it left:
// a cancel or a refusal goes on saying what is left and how to clear it, `left`; any
// other failure goes on as it is.
[[noreturn]] void rethrowSayingWhatIsLeft(const Error& error, const std::string& left);

}  // namespace lumivale::files_detail
