#include "dornctl/Dialogue.h"

#include <algorithm>

#include "host/DecodeError.h"
#include "host/LinkError.h"

namespace dornctl {

using namespace teskhost;

namespace {

using Clock = std::chrono::steady_clock;

constexpr Milliseconds kShortPatience{1000};

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

MachinesAnswer byPort(const Frame& listing) {
    MachinesAnswer answer = MachinesAnswer::decode(listing.body);
    std::stable_sort(answer.machines.begin(), answer.machines.end(),
                     [](const auto& a, const auto& b) { return a.port < b.port; });
    return answer;
}

}  // namespace

// A question whose answer is not complete.
struct Dialogue::Open {
    std::uint32_t identifier;
    const Question& question;
    Expectation expectation;
    Clock::time_point sent;
};

Dialogue::Dialogue(const Settings& settings, Milliseconds usual)
    : settings_(settings),
      patience_(settings.timeout.value_or(usual)),
      link_(settings.host, patience_) {}

Round Dialogue::ask(const std::vector<Question>& questions) {
    Round round;
    std::vector<Open> open;
    for (const Question& question : questions) {
        open.push_back(
            {link_.send(question.request), question, Expectation(question.scope), Clock::now()});
        round.all.push_back({.machine = question.machine});
    }
    try {
        receiveAll(open, round);
    } catch (const DecodeError& e) {
        round.reason = e.what();
        round.brokenOff = std::make_exception_ptr(DecodeError(story(open, round)));
    } catch (const std::exception& e) {
        round.reason = e.what();
        round.brokenOff = std::make_exception_ptr(LinkError(story(open, round)));
    }
    return round;
}

MachinesAnswer Dialogue::machines() {
    const Frame frame = link_.ask(Request::machines(), patience_);
    if (frame.kind != Kind::Regular) throw LinkError("the gateway does not list its machines");
    return byPort(frame);
}

void Dialogue::receiveAll(std::vector<Open>& open, Round& round) {
    Progress progress(settings_);
    const auto whole = [](const Answers& answers) { return answers.complete; };
    while (!std::all_of(round.all.begin(), round.all.end(), whole)) {
        receiveOne(open, round, progress);
        if (open.size() < 2) continue;
        const auto count = std::count_if(round.all.begin(), round.all.end(), whole);
        progress.machines(static_cast<std::size_t>(count), round.all.size());
    }
}

void Dialogue::receiveOne(std::vector<Open>& open, Round& round, Progress& progress) {
    const Frame frame = link_.receive(patience_);
    const auto entry = std::find_if(open.begin(), open.end(), [&](const Open& candidate) {
        return candidate.identifier == frame.identifierB;
    });
    if (entry == open.end()) throw LinkError("the answer belongs to another request");
    HostLink::expectAnswer(frame, entry->question.request, entry->identifier);
    Answers& answers = round.all[static_cast<std::size_t>(entry - open.begin())];
    if (answers.complete) throw LinkError("more answers come than the gateway owes");
    entry->expectation.take(frame);
    answers.complete = entry->expectation.met();
    answers.elapsed = Clock::now() - entry->sent;
    if (frame.kind != Kind::Regular) {
        answers.failure = frame.kind;
        return;
    }
    answers.regular.push_back(frame);
    if (entry->expectation.total() > 1) {
        progress.page(answers.machine, entry->expectation.number(), entry->expectation.total());
    }
}

std::string Dialogue::story(const std::vector<Open>& open, const Round& round) const {
    const std::string what = missing(open, round);
    return what.empty() ? round.reason : round.reason + "; " + what;
}

std::string Dialogue::missing(const std::vector<Open>& open, const Round& round) const {
    std::vector<std::string> silent;
    std::string pages;
    for (std::size_t i = 0; i < open.size(); ++i) {
        const Answers& answers = round.all[i];
        if (answers.complete) continue;
        silent.push_back(answers.machine);
        const std::size_t page = answers.regular.size();
        if (page > 0) pages = "; what follows page " + std::to_string(page) + " is missing";
    }
    if (open.size() == 1) return pages.empty() ? "" : pages.substr(2);
    const std::vector<std::string> gone = notKnown(silent);
    return "of " + std::to_string(open.size()) + " machines asked, no whole answer came of " +
           joined(silent) + (gone.empty() ? "" : "; not known to the gateway now: " + joined(gone));
}

std::vector<std::string> Dialogue::notKnown(const std::vector<std::string>& machines) const {
    std::vector<std::string> gone;
    try {
        const Milliseconds patience = std::min(patience_, kShortPatience);
        HostLink link(settings_.host, patience);
        for (const auto& machine : byPort(link.ask(Request::machines(), patience)).machines) {
            const bool asked = std::count(machines.begin(), machines.end(), machine.name) > 0;
            if (asked && !machine.known) gone.push_back(machine.name);
        }
    } catch (const std::exception&) {
        return {};
    }
    return gone;
}

}  // namespace dornctl
