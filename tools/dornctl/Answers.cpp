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
                    "no machine that was asked for is known to the gateway (0xFD); "
                    "\"dornctl machines\" lists those that are"};
        case Kind::TimedOut:
            return {ExitStatus::TimedOut, "a machine gave the gateway no answer in time (0xFE)"};
        case Kind::Failed:
            return {ExitStatus::RequestFailed,
                    "the gateway could not carry out the request (0xAB); its log says why"};
        case Kind::Regular:
            break;
    }
    return {ExitStatus::Failure, "the gateway's answer is of a kind that does not exist"};
}

}  // namespace

void Answers::requireAll() const {
    if (brokenOff) std::rethrow_exception(brokenOff);
}

ExitStatus Answers::report() const {
    std::cout.flush();
    for (const Kind kind : failures) std::cerr << "dornctl: " << wordsFor(kind).sentence << '\n';
    requireAll();
    return failures.empty() ? ExitStatus::Success : wordsFor(failures.front()).status;
}

}  // namespace dornctl
