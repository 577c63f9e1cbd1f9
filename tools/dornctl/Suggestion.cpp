#include "dornctl/Suggestion.h"

#include <algorithm>
#include <numeric>

namespace dornctl {

namespace {

constexpr std::size_t kMostErrors = 2;

// The edit distance: inserted, removed or replaced characters.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t exchanged = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({exchanged, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

// A prefix of the word counts as one error, however much is missing.
std::size_t errorsIn(const std::string& typed, const std::string& word) {
    return typed.size() > 1 && word.starts_with(typed) ? 1 : distance(typed, word);
}

}  // namespace

std::string nearest(const std::string& typed, const std::vector<std::string>& words) {
    const auto best = std::min_element(
        words.begin(), words.end(),
        [&](const auto& a, const auto& b) { return errorsIn(typed, a) < errorsIn(typed, b); });
    const bool near = best != words.end() && errorsIn(typed, *best) <= kMostErrors;
    return near ? *best : "";
}

}  // namespace dornctl
