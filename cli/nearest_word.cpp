#include "cli/nearest_word.h"

#include <algorithm>

namespace lumivale::cli {
namespace {

// Edits between two words: insertions, deletions, substitutions and swaps of neighbours.
std::size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i)
    d[i][0] = i;
  for (std::size_t j = 0; j <= b.size(); ++j)
    d[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + change});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
    }
  }
  return d[a.size()][b.size()];
}

// Leading dashes are the option's syntax, not part of the word a user mistypes.
std::string bare(const std::string& word) {
  return word.substr(std::min(word.find_first_not_of('-'), word.size()));
}

}  // namespace

std::optional<std::string> nearestWord(const std::string& typed,
                                       const std::vector<std::string>& known) {
  const std::string word = bare(typed);
  // One slip in a short word, about one in three in a longer one.
  const std::size_t allowed = std::max<std::size_t>(1, word.size() / 3);
  std::optional<std::string> best;
  std::size_t bestDistance = allowed + 1;
  for (const auto& candidate : known) {
    const std::size_t distance = editDistance(word, bare(candidate));
    if (distance < bestDistance) {
      best = candidate;
      bestDistance = distance;
    }
  }
  return best;
}

}  // namespace lumivale::cli
