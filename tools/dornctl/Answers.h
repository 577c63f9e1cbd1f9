// The answers to one request, and to several that were sent together.
//
// Ownership: plain values. Threads: no state. Errors: see each operation.

#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "dornctl/ExitStatus.h"
#include "dornctl/Problem.h"
#include "host/Frame.h"

namespace dornctl {

struct Answers {
    std::string machine{};  // the machine asked; empty for the gateway itself
    std::vector<teskhost::Frame> regular{};
    std::optional<teskhost::Kind> failure{};
    bool complete = false;
    std::chrono::steady_clock::duration elapsed{};  // from the request to the complete answer

    // @throws teskhost::DecodeError for a frame that is not an answer of this type
    template <typename Answer>
    std::vector<Answer> decode() const {
        std::vector<Answer> result;
        for (const teskhost::Frame& frame : regular) result.push_back(Answer::decode(frame.body));
        return result;
    }
};

struct Round {
    std::vector<Answers> all{};      // in the order of the questions
    std::exception_ptr brokenOff{};  // why answers are missing; null if none are
    std::string reason{};            // its text, without the missing answers

    // Every request without a complete answer, in the order of the requests.
    std::vector<Problem> problems() const;
    // Reports all failures. Returns the status of the first one, or success.
    // @throws what brokenOff holds
    ExitStatus report(const Settings& settings) const;
    // @throws what brokenOff holds
    void requireAll() const;
};

}  // namespace dornctl
