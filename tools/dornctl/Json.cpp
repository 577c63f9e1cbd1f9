#include "dornctl/Json.h"

#include <cstdio>

#include "host/AamsWords.h"
#include "host/Outcome.h"

namespace dornctl {

using namespace teskhost;

namespace {

std::string timeText(const TimesAnswer::Value& value) {
    char text[16];
    std::snprintf(text, sizeof text, "%02u:%02u", unsigned{value.first}, unsigned{value.second});
    return text;
}

Json entry(const ListAnswer::Entry& entry) {
    Json values = Json::array();
    for (const auto& value : entry.values) {
        values.push_back({{"number", value.number}, {"value", value.value}});
    }
    return {{"name", entry.name}, {"values", values}};
}

Json entry(const TimesAnswer::Entry& entry) {
    Json values = Json::array();
    for (const auto& value : entry.values) {
        values.push_back({{"time", timeText(value)}, {"digit", value.digit}});
    }
    return {{"name", entry.name}, {"values", values}};
}

Json message(const TeskText& text) {
    return {{"id", text.id},           {"date", text.date}, {"machine", text.machine},
            {"outcome", text.outcome}, {"body", text.body}, {"trailer", text.trailer}};
}

Json reading(const AamsReading& reading) {
    Json json = {{"time", aamswords::stamp(reading.stamp)}, {"message", message(reading.message)}};
    if (!reading.context.empty()) json["context"] = reading.context;
    return json;
}

}  // namespace

Json toJson(const std::vector<CountersAnswer>& answers) {
    constexpr const char* kNames[] = {"CNTTOTIN", "CNTTOTOT", "CNTCL",
                                      "item_3",   "item_4",   "item_5"};
    Json list = Json::array();
    for (const CountersAnswer& answer : answers) {
        Json json = {{"number", answer.number},
                     {"machines", answer.machines},
                     {"date", answer.date},
                     {"machine_date", answer.machineDate},
                     {"outcome", outcomeText(answer.outcome)}};
        for (std::size_t i = 0; i < answer.items.size(); ++i) json[kNames[i]] = answer.items[i];
        list.push_back(json);
    }
    return {{"answers", list}};
}

Json toJson(const std::vector<ValueAnswer>& answers) {
    Json list = Json::array();
    for (const ValueAnswer& answer : answers) {
        list.push_back({{"number", answer.number},
                        {"machines", answer.machines},
                        {"date", answer.date},
                        {"machine_date", answer.machineDate},
                        {"outcome", outcomeText(answer.outcome)},
                        {"value", answer.value},
                        {"text", answer.text}});
    }
    return {{"answers", list}};
}

Json toJson(const std::vector<ListAnswer>& pages) {
    Json entries = Json::array();
    for (const ListAnswer& page : pages) {
        for (const auto& e : page.entries) entries.push_back(entry(e));
    }
    const ListAnswer head = pages.empty() ? ListAnswer{} : pages.front();
    return {{"pages", pages.size()},
            {"date", head.date},
            {"machine_date", head.machineDate},
            {"outcome", outcomeText(head.outcome)},
            {"entries", entries}};
}

Json toJson(const std::vector<TimesAnswer>& pages) {
    Json list = Json::array();
    for (const TimesAnswer& page : pages) {
        Json entries = Json::array();
        for (const auto& e : page.entries) entries.push_back(entry(e));
        list.push_back({{"page", page.page},
                        {"date", page.date},
                        {"machine_date", page.machineDate},
                        {"outcome", outcomeText(page.outcome)},
                        {"entries", entries}});
    }
    return {{"pages", list}};
}

Json toJson(const MessageAnswer& answer) {
    Json json = message(answer.message);
    json["size"] = answer.size;
    return json;
}

Json toJson(const VersionAnswer& answer) {
    return {{"version", answer.version}};
}

Json toJson(const MachinesAnswer& answer) {
    Json list = Json::array();
    for (const auto& machine : answer.machines) {
        list.push_back(
            {{"machine", machine.name}, {"port", machine.port}, {"known", machine.known}});
    }
    return {{"machines", list}};
}

Json toJson(const AamsContent& content) {
    Json fields = Json::array();
    for (const Field& field : content.fields) {
        fields.push_back({{"name", field.name}, {"value", field.value}});
    }
    Json readings = Json::array();
    for (const AamsReading& r : content.readings) readings.push_back(reading(r));
    return {{"code", content.code},
            {"meaning", aamswords::message(content.code)},
            {"fields", fields},
            {"readings", readings}};
}

std::string textOf(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace dornctl
