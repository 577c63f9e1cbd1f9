#include "dornctl/Show.h"

#include <iostream>
#include <limits>

#include "dornctl/Json.h"
#include "host/AnswerTables.h"
#include "host/Outcome.h"

namespace dornctl {

using namespace teskhost;

namespace {

constexpr int kJsonIndent = 2;

template <typename Answer, typename Print>
void put(const Answer& answer, const Settings& settings, Print&& table) {
    std::cout << (settings.json ? textOf(toJson(answer), kJsonIndent) : table());
}

template <typename Answer>
void putTable(const Answer& answer, const Settings& settings) {
    put(answer, settings, [&] { return tableOf(answer).text(0); });
}

ListAnswer joined(const std::vector<ListAnswer>& pages) {
    ListAnswer whole = pages.front();
    for (std::size_t i = 1; i < pages.size(); ++i) {
        whole.entries.insert(whole.entries.end(), pages[i].entries.begin(), pages[i].entries.end());
    }
    return whole;
}

// The pages' heads differ in nothing but the page's number.
std::string listText(const std::vector<ListAnswer>& pages) {
    const ListAnswer whole = joined(pages);
    const Table head = Table::ofFields({{"date (daemon)", whole.date},
                                        {"date (machine)", whole.machineDate},
                                        {"outcome", outcomeText(whole.outcome)},
                                        {"pages", std::to_string(pages.size())},
                                        {"entries", std::to_string(whole.entries.size())}});
    return head.text(0) + '\n' + entriesOf(whole, std::numeric_limits<std::size_t>::max()).text(0);
}

// Pages with the numbers that their 8 bits cannot tell.
std::vector<TimesAnswer> numbered(std::vector<TimesAnswer> pages) {
    constexpr std::size_t kMostTold = 255;
    if (pages.size() <= kMostTold) return pages;
    for (std::size_t i = 0; i < pages.size(); ++i) {
        pages[i].page = static_cast<unsigned>(i + 1);
        pages[i].pages = static_cast<unsigned>(pages.size());
    }
    return pages;
}

}  // namespace

void show(const std::vector<CountersAnswer>& answers, const Settings& settings) {
    if (!answers.empty()) putTable(answers, settings);
}

void show(const std::vector<ValueAnswer>& answers, const Settings& settings) {
    if (!answers.empty()) putTable(answers, settings);
}

void show(const std::vector<ListAnswer>& pages, const Settings& settings) {
    if (!pages.empty()) put(pages, settings, [&] { return listText(pages); });
}

void show(const std::vector<TimesAnswer>& pages, const Settings& settings) {
    if (pages.empty()) return;
    const std::vector<TimesAnswer> whole = numbered(pages);
    put(whole, settings, [&] { return entriesOf(whole).text(0); });
}

void show(const std::vector<MessageAnswer>& answers, const Settings& settings) {
    for (const MessageAnswer& answer : answers) putTable(answer, settings);
}

void show(const std::vector<VersionAnswer>& answers, const Settings& settings) {
    for (const VersionAnswer& answer : answers) putTable(answer, settings);
}

void show(const std::vector<MachinesAnswer>& answers, const Settings& settings) {
    for (const MachinesAnswer& answer : answers) putTable(answer, settings);
}

void show(const AamsContent& content, const Settings& settings) {
    put(content, settings, [&] {
        const std::string fields = Table::ofFields(content.fields).text(0);
        return content.readings.empty() ? fields
                                        : fields + '\n' + tableOf(content.readings).text(0);
    });
}

}  // namespace dornctl
