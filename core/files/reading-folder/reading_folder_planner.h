#pragma once

#include <set>
#include <string>
#include <vector>

#include "core/files/reading-folder/mac_scan.h"
#include "core/files/reading-folder/reading_folder_manifest.h"
#include "core/files/reading-folder/reading_folder_plan.h"
#include "core/files/reading-folder/reading_tree.h"

namespace lumivale {

// Compares the computer's folder, the record of what was copied and the tablet's tree into
// the steps of one sync run. A change made on the tablet is never overwritten, and a tablet
// item without a record (the user's) is never replaced, removed or renamed.
//
// Choices beyond the basic rules:
// - A new computer file whose name is taken on the tablet by an item with different bytes
//   (or one that is another file's copy) goes beside it as "{name} (from Mac).{ext}".
// - Names of "(from Mac)" copies count up: "(from Mac)", "(from Mac 2)", ...
// - A rename whose new name is the same on the tablet (only capitals, or only characters
//   the tablet does not allow, differ) moves the record, renaming the tablet copy when the
//   name differs; when the copy changed on the tablet it is no rename: the old name counts
//   as deleted and the new one as new.
// - When the scan is incomplete, no record of a missing file or folder changes at all.
// - A record whose tablet copy cannot be checked (its digest was asked for but not given)
//   is left as it is.
// - Order: renames, removals, new folders (parents first), copies, adopts and keep-boths by
//   path, then removed folders (deepest first).
namespace ReadingFolderPlanner {

ReadingFolderPlan plan(const MacScan& scan, const ReadingFolderManifest& manifest,
                       const ReadingTree& tree, bool removeDeleted);

// The tablet files (relative paths) whose digest decides part of the plan: the caller
// hashes them on the tablet, puts the digests into the tree, and plans.
std::vector<std::string> digestsNeeded(const MacScan& scan, const ReadingFolderManifest& manifest,
                                       const ReadingTree& tree, bool removeDeleted);

// The name for the computer's version of the file at `path`, to go in the same folder:
// "{stem} (from Mac){ext}", counting up ("(from Mac 2)") past the paths in `taken` (held
// lower-cased in ASCII, as the tablet compares names), the stem cut to fit 255 bytes.
std::string fromMacName(const std::string& path, const std::set<std::string>& taken);

}  // namespace ReadingFolderPlanner

}  // namespace lumivale
