#include "tesksim/ScenarioReader.h"

#include <utility>

#include "tesksim/Scenario.h"

namespace tesksim {

ScenarioReader::ScenarioReader(const nlohmann::json& object, std::string place)
    : object_(object), place_(std::move(place)) {
    if (object.is_object()) return;
    throw ScenarioError((place_.empty() ? "the scenario" : place_) + ": an object is expected");
}

std::string ScenarioReader::placeOf(const std::string& name) const {
    return place_.empty() ? name : place_ + "." + name;
}

void ScenarioReader::fail(const std::string& name, const std::string& expected) const {
    throw ScenarioError(placeOf(name) + ": " + expected + " is expected");
}

const nlohmann::json* ScenarioReader::member(const char* name) {
    taken_.insert(name);
    const auto found = object_.find(name);
    return found == object_.end() ? nullptr : &*found;
}

void ScenarioReader::take(const char* name, std::string& value) {
    const nlohmann::json* const found = member(name);
    if (found == nullptr) return;
    if (!found->is_string()) fail(name, "a text");
    value = found->get<std::string>();
}

void ScenarioReader::take(const char* name, bool& value) {
    const nlohmann::json* const found = member(name);
    if (found == nullptr) return;
    if (!found->is_boolean()) fail(name, "true or false");
    value = found->get<bool>();
}

std::int64_t ScenarioReader::number(const nlohmann::json& value, const char* name,
                                    std::int64_t lowest, std::int64_t highest) const {
    const bool good = value.is_number_integer() && value.get<std::int64_t>() >= lowest &&
                      value.get<std::int64_t>() <= highest;
    if (good) return value.get<std::int64_t>();
    fail(name, "a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest));
}

void ScenarioReader::end() const {
    for (const auto& [name, value] : object_.items()) {
        if (taken_.count(name) == 0) throw ScenarioError(placeOf(name) + ": nothing has this name");
    }
}

}  // namespace tesksim
