#include "dornctl/Show.h"

#include <limits>
#include <unistd.h>

#include "dornctl/Colours.h"
#include "dornctl/MachineTables.h"
#include "host/AnswerTables.h"
#include "host/Outcome.h"

namespace dornctl {

using namespace teskhost;

namespace {

bool colours() {
    return wantsColours(STDOUT_FILENO);
}

std::string listText(const MachineAnswer<ListAnswer>& entry) {
    const ListAnswer& list = entry.answer;
    const Table head = Table::ofFields({{"machine", entry.machine},
                                        {"date (daemon)", list.date},
                                        {"date (machine)", list.machineDate},
                                        {"outcome", outcomeText(list.outcome)},
                                        {"pages", std::to_string(entry.pages)},
                                        {"entries", std::to_string(list.entries.size())}});
    return head.text(0, colours()) + '\n' +
           entriesOf(list, std::numeric_limits<std::size_t>::max()).text(0, colours());
}

}  // namespace

void showTable(const std::vector<MachineAnswer<CountersAnswer>>& answers) {
    if (!answers.empty()) std::cout << tableOf(answers).text(0, colours());
}

void showTable(const std::vector<MachineAnswer<ValueAnswer>>& answers) {
    if (!answers.empty()) std::cout << tableOf(answers).text(0, colours());
}

void showTable(const std::vector<MachineAnswer<ListAnswer>>& answers) {
    for (const auto& answer : answers) std::cout << listText(answer);
}

void showTable(const std::vector<MachineAnswer<TimesAnswer>>& answers) {
    if (!answers.empty()) std::cout << tableOf(answers).text(0, colours());
}

void showTable(const std::vector<MachineAnswer<MessageAnswer>>& answers) {
    for (const auto& answer : answers)
        std::cout << teskhost::tableOf(answer.answer).text(0, colours());
}

void show(const VersionAnswer& answer, const Settings& settings) {
    if (!settings.json) {
        std::cout << teskhost::tableOf(answer).text(0, colours());
        return;
    }
    Json json = documentOf(settings);
    json["version"] = answer.version;
    std::cout << textOf(json, kJsonIndent);
}

void show(const std::vector<ListedMachine>& machines, const Settings& settings) {
    if (!settings.json) {
        std::cout << tableOf(machines).text(0, colours());
        return;
    }
    Json json = documentOf(settings);
    json["machines"] = listOf(machines);
    std::cout << textOf(json, kJsonIndent);
}

void show(const AamsContent& content, const Settings& settings) {
    if (settings.json) {
        Json json = documentOf(settings);
        json.update(toJson(content));
        std::cout << textOf(json, kJsonIndent);
        return;
    }
    std::cout << Table::ofFields(content.fields).text(0, colours());
    if (!content.readings.empty()) {
        std::cout << '\n' << teskhost::tableOf(content.readings).text(0, colours());
    }
}

}  // namespace dornctl
