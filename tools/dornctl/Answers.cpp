#include "dornctl/Answers.h"

#include <iostream>

namespace dornctl {

using teskhost::Kind;

namespace {

struct Words {
    ExitStatus status;
    const char* sentence;
};

Words wordsFor(Kind kind) {
    switch (kind) {
        case Kind::UnknownMachine:
            return {ExitStatus::UnknownMachine,
                    "the gateway knows no such machine, or its last answer did not come (0xFD); "
                    "\"dornctl machines\" tells"};
        case Kind::TimedOut:
            return {ExitStatus::TimedOut, "the machine gave the gateway no answer in time (0xFE)"};
        case Kind::Failed:
            return {ExitStatus::RequestFailed,
                    "the gateway could not carry out the request (0xAB); its log says why"};
        case Kind::Regular:
            break;
    }
    return {ExitStatus::Failure, "the gateway's answer is of a kind that does not exist"};
}

Problem failureOf(const Answers& answers) {
    const Words words = wordsFor(*answers.failure);
    return {words.status, answers.machine, words.sentence};
}

}  // namespace

void Round::requireAll() const {
    if (brokenOff) std::rethrow_exception(brokenOff);
}

std::vector<Problem> Round::problems() const {
    std::vector<Problem> result;
    for (const Answers& answers : all) {
        if (answers.failure) result.push_back(failureOf(answers));
        if (!answers.complete) {
            result.push_back({ExitStatus::NoConnection, answers.machine, reason});
        }
    }
    return result;
}

// Missing answers are not reported one by one, but by the exception in brokenOff.
ExitStatus Round::report(const Settings& settings) const {
    std::cout.flush();
    ExitStatus status = ExitStatus::Success;
    for (const Answers& answers : all) {
        if (!answers.failure) continue;
        const Problem problem = failureOf(answers);
        tell(problem, settings);
        if (status == ExitStatus::Success) status = problem.status;
    }
    requireAll();
    return status;
}

}  // namespace dornctl
