#include "demo/HostTour.h"

#include <algorithm>
#include <set>

#include "host/AnswerTables.h"

namespace demo {

using namespace teskhost;

namespace {

constexpr std::size_t kAll = SlotMachines::kCount;
constexpr std::size_t kEntriesOnAPage = 255;
constexpr std::size_t kEntriesShown = 3;

std::string ask(int type, const std::string& what) {
    return "Type " + std::to_string(type) + ": " + what;
}

// Whether the answers are numbered 1, 2, 3 ... in the order of their arrival.
template <typename Answer>
bool numbered(const std::vector<Answer>& answers) {
    for (std::size_t i = 0; i < answers.size(); ++i) {
        if (answers[i].number != i + 1 || answers[i].machines != answers.size()) return false;
    }
    return true;
}

}  // namespace

HostTour::HostTour(Scene& scene, Report& report) : report_(report), link_(scene.daemon().port()) {}

void HostTour::run() {
    counters();
    listByFields();
    listByNumbers();
    times();
    numbers();
    text();
    message();
    version();
    machines();
}

template <typename Answer>
std::vector<Answer> HostTour::ask(const Request& request, std::size_t answers) {
    const std::uint32_t identifier = link_.send(request);
    std::vector<Answer> result;
    while (result.size() < answers) {
        const Frame frame = link_.receive();
        Report::expect(frame.kind == Kind::Regular, "a regular answer, not " + frame.kindInWords());
        Report::expect(frame.identifierB == identifier && frame.type == request.type,
                       "an answer to the request that was sent");
        result.push_back(Answer::decode(frame.body));
    }
    return result;
}

void HostTour::counters() {
    report_.step(demo::ask(1, "the counters of all machines, in the order in which they answer"));
    const auto answers = ask<CountersAnswer>(Request::counters(""), kAll);
    report_.show(tableOf(answers));
    std::multiset<std::int64_t> expected;
    std::multiset<std::int64_t> actual;
    for (std::size_t n = 1; n <= kAll; ++n) expected.insert(SlotMachines::totalIn(n));
    for (const CountersAnswer& answer : answers) actual.insert(answer.items[0]);
    Report::expect(numbered(answers), "answers numbered 1 to 4");
    Report::expect(actual == expected, "every machine's CNTTOTIN");
}

void HostTour::listByFields() {
    report_.step(demo::ask(2, "lists of values, chosen by the texts 01.03.26 and 31.03.26, of " +
                                  SlotMachines::name(1)));
    const ListAnswer page =
        ask<ListAnswer>(Request::list("01.03.26", "31.03.26", SlotMachines::name(1))).front();
    report_.show(tableOf(page));
    report_.show(entriesOf(page, kEntriesOnAPage));
    Report::expect(page.pages == 1 && page.entries.size() == 3, "three entries on one page");
    Report::expect(page.entries[0].values.at(0).value == SlotMachines::totalIn(1),
                   "the machine's CNTTOTIN in the list");
}

void HostTour::listByNumbers() {
    report_.step(demo::ask(3, "lists of values, chosen by the numbers 1 and 300, of " +
                                  SlotMachines::name(2) +
                                  "; more than fit on a page, so two frames come"));
    const auto pages =
        ask<ListAnswer>(Request::list(1, SlotMachines::kEventCount, SlotMachines::name(2)), 2);
    std::size_t entries = 0;
    for (const ListAnswer& page : pages) {
        report_.show(tableOf(page));
        report_.show(entriesOf(page, kEntriesShown));
        Report::expect(page.pages == 2 && page.page == &page - pages.data() + 1, "two pages");
        entries += page.entries.size();
    }
    Report::expect(pages[0].entries.size() == kEntriesOnAPage, "a full first page");
    Report::expect(entries == SlotMachines::kEventCount, "every entry on one of the pages");
}

void HostTour::times() {
    report_.step(demo::ask(4, "lists of times, of all machines; one page each"));
    const auto pages = ask<TimesAnswer>(Request::times("01.03.26", "31.03.26", ""), kAll);
    report_.show(entriesOf(pages));
    for (const TimesAnswer& page : pages) {
        Report::expect(page.pages == kAll && page.page == &page - pages.data() + 1,
                       "pages numbered 1 to 4 over all machines");
        Report::expect(page.entries.size() == 2, "two entries of every machine");
    }
}

void HostTour::numbers() {
    report_.step(demo::ask(5, "the value behind message " +
                                  std::to_string(SlotMachines::kNumberCode) + ", of all machines"));
    const auto answers = ask<ValueAnswer>(Request::value(SlotMachines::kNumberCode, ""), kAll);
    report_.show(tableOf(answers));
    std::set<std::int32_t> values;
    for (const ValueAnswer& answer : answers) values.insert(answer.value);
    Report::expect(numbered(answers), "answers numbered 1 to 4");
    Report::expect(*values.begin() == SlotMachines::number(1) && values.size() == kAll &&
                       *values.rbegin() == SlotMachines::number(kAll),
                   "every machine's number");
}

void HostTour::text() {
    report_.step(demo::ask(5, "the same with message " + std::to_string(SlotMachines::kTextCode) +
                                  ", which is a text, of " + SlotMachines::name(4)));
    const auto answers =
        ask<ValueAnswer>(Request::value(SlotMachines::kTextCode, SlotMachines::name(4)));
    report_.show(tableOf(answers));
    Report::expect(answers[0].text == "FW-4.04" && answers[0].value == 0, "the machine's text");
}

void HostTour::message() {
    report_.step(demo::ask(6, "the message 113~0008 as it stands, to " + SlotMachines::name(3) +
                                  ", whose answers carry a trailer"));
    const MessageAnswer answer =
        ask<MessageAnswer>(Request::message("113~0008", SlotMachines::name(3))).front();
    report_.show(tableOf(answer));
    Report::expect(answer.message.machine == SlotMachines::name(3), "the machine that was asked");
    Report::expect(answer.message.trailer, "an answer with a trailer");
}

void HostTour::version() {
    report_.step(demo::ask(7, "the software version"));
    const VersionAnswer answer = ask<VersionAnswer>(Request::version()).front();
    report_.show(tableOf(answer));
    Report::expect(answer.version == Scene::kVersion, "the version of the configuration");
}

void HostTour::machines() {
    report_.step(demo::ask(8, "the machines"));
    const MachinesAnswer answer = ask<MachinesAnswer>(Request::machines()).front();
    report_.show(tableOf(answer));
    Report::expect(answer.machines.size() == kAll, "four machines");
    for (std::size_t n = 1; n <= kAll; ++n) {
        const MachinesAnswer::Machine& machine = answer.machines[n - 1];
        Report::expect(machine.name == SlotMachines::name(n) && machine.port == n && machine.known,
                       SlotMachines::name(n) + " on serial port " + std::to_string(n));
    }
}

}  // namespace demo
