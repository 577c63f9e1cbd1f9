#include "soak/Summary.h"

#include <algorithm>

namespace teskd::soak {

namespace {

std::size_t sum(const std::map<std::string, std::size_t>& kinds) {
    std::size_t result = 0;
    for (const auto& [kind, times] : kinds) result += times;
    return result;
}

}  // namespace

void Summary::count(const std::string& group, const std::string& kind, std::size_t times) {
    const std::lock_guard lock(mutex_);
    counts_[group][kind] += times;
}

void Summary::highest(const std::string& what, std::size_t value) {
    const std::lock_guard lock(mutex_);
    std::size_t& kept = highest_[what];
    kept = std::max(kept, value);
}

std::size_t Summary::total(const std::string& group) const {
    const std::lock_guard lock(mutex_);
    const auto found = counts_.find(group);
    return found == counts_.end() ? 0 : sum(found->second);
}

void Summary::print(std::ostream& out) const {
    const std::lock_guard lock(mutex_);
    for (const auto& [group, kinds] : counts_) {
        out << group << ": " << sum(kinds) << "\n";
        for (const auto& [kind, times] : kinds) out << "    " << kind << ": " << times << "\n";
    }
    for (const auto& [what, value] : highest_) out << what << ": " << value << "\n";
}

}  // namespace teskd::soak
