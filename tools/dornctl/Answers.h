// Everything that came back for one request.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <exception>
#include <vector>

#include "dornctl/ExitStatus.h"
#include "host/Frame.h"

namespace dornctl {

struct Answers {
    std::vector<teskhost::Frame> regular{};
    std::vector<teskhost::Kind> failures{};
    std::exception_ptr brokenOff{};  // why not all have come

    template <typename Answer>
    std::vector<Answer> decode() const {
        std::vector<Answer> result;
        for (const teskhost::Frame& frame : regular) result.push_back(Answer::decode(frame.body));
        return result;
    }

    // Throws why not all have come, if so.
    void requireAll() const;
    // Says on standard error what failed. The status of the first failure, or success.
    // @throws what requireAll() throws
    ExitStatus report() const;
};

}  // namespace dornctl
