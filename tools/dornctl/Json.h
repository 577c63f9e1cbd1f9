// Answers as JSON, complete and with stable keys. Numbers are JSON numbers, a code is given with
// its meaning, times are ISO 8601 with their zone.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "dornctl/MachineAnswer.h"
#include "dornctl/MachineList.h"
#include "dornctl/Problem.h"
#include "host/AamsContent.h"

namespace dornctl {

using Json = nlohmann::ordered_json;

// The start of every document: the current time and the gateway.
Json documentOf(const Settings& settings);

Json toJson(const Problem& problem);
Json toJson(const ListedMachine& machine);
Json toJson(const MachineAnswer<teskhost::CountersAnswer>& answer);
Json toJson(const MachineAnswer<teskhost::ValueAnswer>& answer);
Json toJson(const MachineAnswer<teskhost::ListAnswer>& answer);
Json toJson(const MachineAnswer<teskhost::TimesAnswer>& answer);
Json toJson(const MachineAnswer<teskhost::MessageAnswer>& answer);
Json toJson(const teskhost::AamsContent& content);

template <typename Value>
Json listOf(const std::vector<Value>& values) {
    Json list = Json::array();
    for (const Value& value : values) list.push_back(toJson(value));
    return list;
}

// As text: `indent` blanks per level, or one line if it is negative. Bytes that are no UTF-8 are
// replaced.
std::string textOf(const Json& json, int indent);

}  // namespace dornctl
