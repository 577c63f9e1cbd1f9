#include "soak/Stage.h"

namespace teskd::soak {

Stage::Act Stage::act() const {
    const std::lock_guard lock(mutex_);
    return act_;
}

void Stage::set(Act act) {
    {
        const std::lock_guard lock(mutex_);
        if (act_ == Act::Over) return;
        act_ = act;
    }
    changed_.notify_all();
}

void Stage::stay(Act act, std::chrono::milliseconds time) const {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, time, [&] { return act_ != act; });
}

void Stage::awaitEndOf(Act act) const {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return act_ != act; });
}

void Stage::violation(const std::string& text) {
    {
        const std::lock_guard lock(mutex_);
        if (violation_.empty()) violation_ = text;
        act_ = Act::Over;
    }
    changed_.notify_all();
}

std::string Stage::violation() const {
    const std::lock_guard lock(mutex_);
    return violation_;
}

}  // namespace teskd::soak
