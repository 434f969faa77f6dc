#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace lumivale {

// What happened to one item of the Reading folder that was not simply copied, for people.
// The path is relative to the computer's folder ("" for the folder itself).
struct ReadingFolderNote {
  std::string path;
  std::string sentence;

  bool operator==(const ReadingFolderNote&) const = default;
};

// "{path}: {sentence}", for logs and test failures.
std::ostream& operator<<(std::ostream& out, const ReadingFolderNote& note);

// The sentences of the notes.
namespace NoteText {
inline constexpr std::string_view package =
    "a package (an app, or a document saved as a folder, such as .pages) is not copied";
inline constexpr std::string_view link =
    "it, or a folder on its way, is now a link, which is not copied";
inline constexpr std::string_view unreadable =
    "it could not be read (macOS did not allow it, or it is damaged)";
inline constexpr std::string_view changedWhileRead =
    "it changed while it was read; it is looked at again next time";
inline constexpr std::string_view folderMoved =
    "the folder was moved or replaced while it was read; it is read again next time";
inline constexpr std::string_view sameFileName =
    "another file here has the same name on the Lumivale (the names differ only in capitals or "
    "in characters the Lumivale does not allow), so this one was not copied";
inline constexpr std::string_view sameFolderName =
    "another folder here has the same name on the Lumivale (the names differ only in capitals or "
    "in characters the Lumivale does not allow), so this one was not copied";
inline constexpr std::string_view nameTooLong =
    "its name is too long for the Lumivale (more than 255 bytes)";
inline constexpr std::string_view pathTooLong = "the path is too long for the Lumivale";
inline constexpr std::string_view deletedOnTablet =
    "deleted on the Lumivale; it is copied again when it changes on the Mac";
inline constexpr std::string_view keptChangedOnTablet =
    "deleted on the Mac but changed on the Lumivale since it was copied, so it was kept";
inline constexpr std::string_view keptUncheckable =
    "deleted on the Mac, but the Lumivale cannot check that its copy is unchanged (it has no "
    "sha256sum), so it was kept";
inline constexpr std::string_view folderStillHolds =
    "the folder is gone from the Mac but still holds other files on the Lumivale, so it was kept";
inline constexpr std::string_view fileHasFolderName =
    "a file on the Lumivale already has this folder’s name, so the folder’s files were not copied";
}  // namespace NoteText

}  // namespace lumivale
