#include "soak/ShownNames.h"

#include <algorithm>

namespace teskd::soak {

namespace {

// Longer than any request takes.
constexpr std::chrono::minutes kKept{4};

}  // namespace

void ShownNames::shown(const std::string& codeId) {
    const std::lock_guard lock(mutex_);
    const auto now = Clock::now();
    answers_.push_back({codeId, now});
    ++waiting_;
    while (answers_.front().made < now - kKept) {
        answers_.pop_front();
        forgotten_ = true;
    }
    waiting_ = std::min(waiting_, answers_.size());
}

void ShownNames::acknowledged() {
    const std::lock_guard lock(mutex_);
    if (waiting_ == 0) return;
    answers_[answers_.size() - waiting_].acknowledged = Clock::now();
    --waiting_;
}

void ShownNames::disconnected() {
    const std::lock_guard lock(mutex_);
    waiting_ = 0;
}

bool ShownNames::mayBe(const std::string& codeId, Clock::time_point sent) const {
    const std::lock_guard lock(mutex_);
    for (auto answer = answers_.rbegin(); answer != answers_.rend(); ++answer) {
        if (answer->codeId == codeId) return true;
        if (answer->acknowledged <= sent) return false;
    }
    return forgotten_;
}

}  // namespace teskd::soak
