#include "dornctl/Dialogue.h"

#include <algorithm>

#include "dornctl/Progress.h"
#include "host/DecodeError.h"
#include "host/LinkError.h"
#include "host/MachinesAnswer.h"

namespace dornctl {

using namespace teskhost;

namespace {

constexpr Milliseconds kShortPatience{1000};

std::vector<std::string> namesIn(const Frame& listing, bool known) {
    std::vector<std::string> names;
    for (const auto& machine : MachinesAnswer::decode(listing.body).machines) {
        if (machine.known == known) names.push_back(machine.name);
    }
    return names;
}

}  // namespace

Dialogue::Dialogue(const Endpoint& host, Milliseconds patience)
    : host_(host), patience_(patience), link_(host, patience) {}

Answers Dialogue::ask(const Request& request, Scope scope) {
    Expectation expectation(scope);
    Answers answers;
    try {
        receiveAll(request, scope, expectation, answers);
    } catch (const DecodeError& e) {
        answers.brokenOff =
            std::make_exception_ptr(DecodeError(story(e.what(), scope, expectation)));
    } catch (const std::exception& e) {
        answers.brokenOff = std::make_exception_ptr(LinkError(story(e.what(), scope, expectation)));
    }
    return answers;
}

// A machine that fails sends no frame that says how many there are to be. Behind the question, on
// the same connection, the gateway is therefore asked for its machines: it then lists those that
// the question went to.
void Dialogue::receiveAll(const Request& request, Scope scope, Expectation& expectation,
                          Answers& answers) {
    const std::uint32_t question = link_.send(request);
    std::uint32_t listing = 0;
    if (scope == Scope::EveryMachine) listing = link_.send(Request::machines());
    Progress progress;
    while (listing != 0 || !expectation.met()) {
        const Frame frame = link_.receive(patience_);
        if (listing != 0 && frame.identifierB == listing) {
            HostLink::expectAnswer(frame, Request::machines(), listing);
            expectation.takeMachines(namesIn(frame, true));
            listing = 0;
            continue;
        }
        HostLink::expectAnswer(frame, request, question);
        expectation.take(frame);
        if (frame.kind != Kind::Regular) {
            answers.failures.push_back(frame.kind);
            continue;
        }
        answers.regular.push_back(frame);
        if (expectation.total() > 1) progress.page(expectation.number(), expectation.total());
    }
}

std::string Dialogue::story(const char* reason, Scope scope, const Expectation& expectation) const {
    const std::string missing = expectation.missing();
    std::string text = reason;
    if (!missing.empty()) text += "; " + missing;
    if (scope != Scope::EveryMachine) return text;
    std::string gone;
    for (const std::string& name : notKnown()) gone += (gone.empty() ? "" : ", ") + name;
    return gone.empty() ? text : text + "; not known to the gateway now: " + gone;
}

std::vector<std::string> Dialogue::notKnown() const {
    try {
        const Milliseconds patience = std::min(patience_, kShortPatience);
        HostLink link(host_, patience);
        return namesIn(link.ask(Request::machines(), patience), false);
    } catch (const std::exception&) {
        return {};
    }
}

}  // namespace dornctl
