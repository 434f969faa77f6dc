#pragma once

#include <optional>
#include <string>
#include <vector>

namespace lumivale::cli {

// The known word a mistyped one most likely meant: the closest by edits (a swap of two
// neighbours counts as one), when close enough to be a slip and not a different word.
// Ties go to the word listed first.
std::optional<std::string> nearestWord(const std::string& typed,
                                       const std::vector<std::string>& known);

}  // namespace lumivale::cli
