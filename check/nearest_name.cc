#include "check/nearest_name.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>

namespace check {
namespace {

constexpr std::size_t mostFaults = 2;
constexpr std::size_t longestName = 40;  // Nothing longer is near to any name.

/// The Levenshtein distance; upper and lower case are the same.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool isSame = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                          std::tolower(static_cast<unsigned char>(b[j - 1]));
      const std::size_t replaced = diagonal + (isSame ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

std::string nearestName(const std::string& misspelt, const std::vector<std::string>& names) {
  std::string nearest;
  std::size_t fewest = mostFaults + 1;
  for (const std::string& name : names) {
    const std::size_t faults = misspelt.size() > longestName ? fewest : distance(misspelt, name);
    if (faults < fewest && faults < name.size() / 2) {
      fewest = faults;
      nearest = name;
    }
  }
  return nearest;
}

}  // namespace check
