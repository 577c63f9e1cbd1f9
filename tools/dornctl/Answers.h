// Everything that came back for one request.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <vector>

#include "dornctl/ExitStatus.h"
#include "host/Frame.h"

namespace dornctl {

struct Answers {
    std::vector<teskhost::Frame> regular{};
    std::vector<teskhost::Kind> failures{};

    template <typename Answer>
    std::vector<Answer> decode() const {
        std::vector<Answer> result;
        for (const teskhost::Frame& frame : regular) result.push_back(Answer::decode(frame.body));
        return result;
    }

    // Says on standard error what failed. The status of the first failure, or success.
    ExitStatus report() const;
};

}  // namespace dornctl
