#include "tesksim/FaultSchedule.h"

#include <algorithm>

namespace tesksim {

FaultSchedule::FaultSchedule(std::vector<Entry> entries, std::uint32_t seed) : random_(seed) {
    for (Entry& entry : entries) {
        const Milliseconds begin = entry.at;
        states_.push_back({std::move(entry), begin});
    }
}

Faults FaultSchedule::at(Milliseconds time) {
    const State* latest = nullptr;
    for (State& state : states_) {
        while (const auto next = changeOf(state)) {
            if (*next > time) break;
            change(state);
        }
        const bool counts = state.on && (latest == nullptr || state.begin >= latest->begin);
        if (counts) latest = &state;
    }
    return latest == nullptr ? Faults{} : latest->entry.faults;
}

std::optional<FaultSchedule::Milliseconds> FaultSchedule::nextChange() const {
    std::optional<Milliseconds> next;
    for (const State& state : states_) {
        const auto own = changeOf(state);
        if (own && (!next || *own < *next)) next = own;
    }
    return next;
}

std::optional<FaultSchedule::Milliseconds> FaultSchedule::changeOf(const State& state) const {
    constexpr Milliseconds never = Milliseconds::max();
    if (!state.on) return state.begin == never ? std::nullopt : std::optional(state.begin);
    if (!state.entry.last) return std::nullopt;
    return state.begin + *state.entry.last;
}

// The time of the next begin is drawn when the faults end.
void FaultSchedule::change(State& state) {
    state.on = !state.on;
    if (state.on) return;
    const Entry& entry = state.entry;
    if (!entry.againMin) {
        state.begin = Milliseconds::max();
        return;
    }
    const auto span = static_cast<std::uint32_t>((*entry.againMax - *entry.againMin).count()) + 1;
    state.begin += *entry.last + *entry.againMin + Milliseconds(random_() % span);
}

}  // namespace tesksim
