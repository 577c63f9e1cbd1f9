// Decoded answers as JSON, with the fields of the tables under names for programs.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/AamsContent.h"
#include "host/CountersAnswer.h"
#include "host/ListAnswer.h"
#include "host/MachinesAnswer.h"
#include "host/MessageAnswer.h"
#include "host/TimesAnswer.h"
#include "host/ValueAnswer.h"
#include "host/VersionAnswer.h"

namespace dornctl {

using Json = nlohmann::ordered_json;

Json toJson(const std::vector<teskhost::CountersAnswer>& answers);
Json toJson(const std::vector<teskhost::ValueAnswer>& answers);
// Pages of one machine, joined.
Json toJson(const std::vector<teskhost::ListAnswer>& pages);
Json toJson(const std::vector<teskhost::TimesAnswer>& pages);
Json toJson(const teskhost::MessageAnswer& answer);
Json toJson(const teskhost::VersionAnswer& answer);
Json toJson(const teskhost::MachinesAnswer& answer);
Json toJson(const teskhost::AamsContent& content);

// As text: `indent` blanks a level, or one line when it is negative. Bytes that are no UTF-8 are
// replaced.
std::string textOf(const Json& json, int indent);

}  // namespace dornctl
