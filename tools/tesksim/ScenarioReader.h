// Reads the members of a scenario's objects one by one, and reports unknown ones.
//
// Ownership: refers to a value of the caller's, which must outlive it. Threads: one user at a time.
// Errors: ScenarioError.

#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

namespace tesksim {

class ScenarioReader {
  public:
    // `place` names the object in errors: "machines[1].meters".
    ScenarioReader(const nlohmann::json& object, std::string place);

    // Reads a member; `value` is unchanged if there is none.
    void take(const char* name, std::string& value);
    void take(const char* name, bool& value);
    template <typename Number>
    void take(const char* name, Number& value, std::int64_t lowest, std::int64_t highest) {
        const nlohmann::json* const found = member(name);
        if (found != nullptr) value = static_cast<Number>(number(*found, name, lowest, highest));
    }
    // The member itself; null when there is none.
    const nlohmann::json* member(const char* name);
    // Call this last: a member that was not read is an error.
    void end() const;

    bool has(const char* name) const { return object_.contains(name); }
    const std::string& place() const { return place_; }
    std::string placeOf(const std::string& name) const;
    [[noreturn]] void fail(const std::string& name, const std::string& expected) const;

  private:
    std::int64_t number(const nlohmann::json& value, const char* name, std::int64_t lowest,
                        std::int64_t highest) const;

    const nlohmann::json& object_;
    const std::string place_;
    std::set<std::string> taken_;
};

}  // namespace tesksim
