#include "dornctl/Json.h"

#include <charconv>
#include <cstdio>
#include <optional>

#include "dornctl/Now.h"
#include "host/AamsWords.h"
#include "host/Outcome.h"

namespace dornctl {

using namespace teskhost;

namespace {

constexpr const char* kCounters[] = {"CNTTOTIN", "CNTTOTOT", "CNTCL", "item_3", "item_4", "item_5"};

constexpr char kFailedCheck[] = "failed_check";
constexpr int kCheckNotification = 5;
constexpr int kChecksRequest = 504;

// A decimal number as a JSON number, any other text as a string.
Json numberOrText(const std::string& text) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? Json(number) : Json(text);
}

std::string hex(const std::string& bytes) {
    std::string result;
    for (const char c : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X", unsigned{static_cast<unsigned char>(c)});
        result += digits;
    }
    return result;
}

Json outcome(std::uint8_t number) {
    return {{"code", number}, {"text", outcomeCharacters(number)}};
}

Json outcome(const std::string& characters) {
    return {{"code", outcomeNumber(characters)}, {"text", characters}};
}

template <typename Answer>
Json headOf(const MachineAnswer<Answer>& entry) {
    return {{"machine", entry.machine},
            {"date", isoDate(entry.answer.date)},
            {"machine_date", entry.answer.machineDate},
            {"outcome", outcome(entry.answer.outcome)}};
}

std::string timeText(const TimesAnswer::Value& value) {
    char text[16];
    std::snprintf(text, sizeof text, "%02u:%02u", unsigned{value.first}, unsigned{value.second});
    return text;
}

Json toJson(const ListAnswer::Value& value) {
    return {{"number", value.number}, {"value", value.value}};
}

Json toJson(const TimesAnswer::Value& value) {
    return {{"time", timeText(value)}, {"digit", value.digit}};
}

template <typename Answer>
Json pagesOf(const MachineAnswer<Answer>& entry) {
    Json json = headOf(entry);
    json["pages"] = entry.pages;
    json["complete"] = entry.whole;
    Json entries = Json::array();
    for (const auto& e : entry.answer.entries) {
        Json values = Json::array();
        for (const auto& value : e.values) values.push_back(toJson(value));
        entries.push_back({{"name", e.name}, {"values", values}});
    }
    json["entries"] = entries;
    return json;
}

// The items by name; null if the body has another number of items.
Json countersOf(const TeskText& message) {
    const std::vector<std::string> items = message.items();
    if (items.size() != std::size(kCounters)) return nullptr;
    Json counters = Json::object();
    for (std::size_t i = 0; i < items.size(); ++i) counters[kCounters[i]] = numberOrText(items[i]);
    return counters;
}

Json messageOf(const TeskText& message) {
    return {{"machine", message.machine},   {"id", numberOrText(message.id)},
            {"machine_date", message.date}, {"outcome", outcome(message.outcome)},
            {"body", message.body},         {"trailer", message.trailer}};
}

// The value of a field. A code of digits is a number, except a result's, which is a string.
Json toJson(const Field& field) {
    switch (field.kind) {
        case Field::Kind::Number:
            return numberOrText(field.raw);
        case Field::Kind::Flag:
            return field.raw != "0";
        case Field::Kind::Stamp:
            return isoStamp(field.raw);
        case Field::Kind::Code:
            return {{"code", field.key == "result" ? Json(field.raw) : numberOrText(field.raw)},
                    {"text", field.words}};
        case Field::Kind::Text:
            break;
    }
    return field.raw;
}

Json toJson(const AamsReading& reading) {
    Json json = {{"time", reading.stamp.empty() ? Json() : Json(isoStamp(reading.stamp))}};
    if (!reading.context.empty()) json["context"] = reading.context;
    json.update(messageOf(reading.message));
    json["counters"] = countersOf(reading.message);
    return json;
}

}  // namespace

Json documentOf(const Settings& settings) {
    return {{"time", nowIso()}, {"gateway", settings.host.text()}};
}

Json toJson(const Problem& problem) {
    return {
        {"machine", problem.machine.empty() ? Json() : Json(problem.machine)},
        {"status", {{"code", static_cast<int>(problem.status)}, {"text", nameOf(problem.status)}}},
        {"message", problem.text}};
}

Json toJson(const ListedMachine& machine) {
    return {{"machine", machine.name},
            {"port", machine.port},
            {"known", machine.state == MachineState::Known},
            {"state", nameOf(machine.state)}};
}

Json toJson(const MachineAnswer<CountersAnswer>& answer) {
    Json json = headOf(answer);
    Json counters = Json::object();
    for (std::size_t i = 0; i < answer.answer.items.size(); ++i) {
        counters[kCounters[i]] = answer.answer.items[i];
    }
    json["counters"] = counters;
    return json;
}

Json toJson(const MachineAnswer<ValueAnswer>& answer) {
    Json json = headOf(answer);
    json["value"] = answer.answer.value;
    json["text"] = answer.answer.text;
    return json;
}

Json toJson(const MachineAnswer<ListAnswer>& answer) {
    return pagesOf(answer);
}

Json toJson(const MachineAnswer<TimesAnswer>& answer) {
    return pagesOf(answer);
}

Json toJson(const MachineAnswer<MessageAnswer>& answer) {
    Json json = messageOf(answer.answer.message);
    json["size"] = answer.answer.size;
    json["bytes"] = hex(answer.answer.bytes);
    return json;
}

Json toJson(const AamsContent& content) {
    Json json = {{"code", content.code}, {"meaning", aamswords::message(content.code)}};
    Json checks = Json::array();
    for (const Field& field : content.fields) {
        if (field.key == kFailedCheck) {
            checks.push_back(toJson(field));
        } else {
            json[field.key] = toJson(field);
        }
    }
    if (content.code == kChecksRequest || content.code == kCheckNotification) {
        json["failed_checks"] = checks;
    }
    json["readings"] = Json::array();
    for (const AamsReading& reading : content.readings) json["readings"].push_back(toJson(reading));
    return json;
}

std::string textOf(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace dornctl
