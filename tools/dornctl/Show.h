// Prints decoded answers on standard output, as tables or as JSON.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <iostream>
#include <vector>

#include "dornctl/Json.h"
#include "host/VersionAnswer.h"

namespace dornctl {

constexpr int kJsonIndent = 2;

// Prints the answers of machines as tables; nothing if there are none.
void showTable(const std::vector<MachineAnswer<teskhost::CountersAnswer>>& answers);
void showTable(const std::vector<MachineAnswer<teskhost::ValueAnswer>>& answers);
void showTable(const std::vector<MachineAnswer<teskhost::ListAnswer>>& answers);
void showTable(const std::vector<MachineAnswer<teskhost::TimesAnswer>>& answers);
void showTable(const std::vector<MachineAnswer<teskhost::MessageAnswer>>& answers);

// Prints tables, or one JSON document, which lists the failures even if there is no answer.
template <typename Answer>
void show(const Round& round, const Settings& settings) {
    const auto answers = decode<Answer>(round);
    if (!settings.json) return showTable(answers);
    Json json = documentOf(settings);
    json["answers"] = listOf(answers);
    json["failures"] = listOf(round.problems());
    std::cout << textOf(json, kJsonIndent);
}

void show(const teskhost::VersionAnswer& answer, const Settings& settings);
void show(const std::vector<ListedMachine>& machines, const Settings& settings);
void show(const teskhost::AamsContent& content, const Settings& settings);

}  // namespace dornctl
