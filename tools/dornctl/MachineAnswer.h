// An answer together with the machine that gave it, which the answer itself does not name.
//
// Ownership: a plain value. Threads: no state. Errors: see each function.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "dornctl/Answers.h"
#include "host/CountersAnswer.h"
#include "host/ListAnswer.h"
#include "host/MessageAnswer.h"
#include "host/TimesAnswer.h"
#include "host/ValueAnswer.h"

namespace dornctl {

template <typename Answer>
struct MachineAnswer {
    std::string machine{};
    std::size_t pages = 1;  // pages of the answer, which has the entries of all
    bool whole = true;      // no page is missing
    Answer answer{};
};

template <typename Answer>
void join(Answer& /*first*/, const Answer& /*second*/) {}
inline void join(teskhost::ListAnswer& first, const teskhost::ListAnswer& second) {
    first.entries.insert(first.entries.end(), second.entries.begin(), second.entries.end());
}
inline void join(teskhost::TimesAnswer& first, const teskhost::TimesAnswer& second) {
    first.entries.insert(first.entries.end(), second.entries.begin(), second.entries.end());
}

// One for each machine that has answered, in the order of the requests.
// @throws teskhost::DecodeError for a frame that is not an answer of this type
template <typename Answer>
std::vector<MachineAnswer<Answer>> decode(const Round& round) {
    std::vector<MachineAnswer<Answer>> result;
    for (const Answers& answers : round.all) {
        const std::vector<Answer> pages = answers.decode<Answer>();
        if (pages.empty()) continue;
        result.push_back({answers.machine, pages.size(), answers.complete, pages.front()});
        for (std::size_t i = 1; i < pages.size(); ++i) join(result.back().answer, pages[i]);
    }
    return result;
}

}  // namespace dornctl
