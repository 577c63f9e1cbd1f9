#include "tesksim/ScenarioLines.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "tesksim/Scenario.h"

namespace tesksim {

namespace {

using nlohmann::json;

constexpr std::size_t kDeepest = 16;  // deeper than any scenario

// The error message of the JSON parser, without the name of its exception.
std::string withoutName(const std::string& problem) {
    const std::size_t end = problem.find("] ");
    return problem.starts_with('[') && end != std::string::npos ? problem.substr(end + 2) : problem;
}

// Receives the parser's events. The position in the stream gives the line.
class Follower : public json::json_sax_t {
  public:
    explicit Follower(const std::string& text) : text_(text), in_(text) {}

    std::map<std::string, std::size_t> follow() {
        json::sax_parse(in_, this, json::input_format_t::json, true, true);
        return std::move(lines_);
    }

    bool null() override { return value(); }
    bool boolean(bool) override { return value(); }
    bool number_integer(number_integer_t) override { return value(); }
    bool number_unsigned(number_unsigned_t) override { return value(); }
    bool number_float(number_float_t, const string_t&) override { return value(); }
    bool string(string_t&) override { return value(); }
    bool binary(binary_t&) override { return value(); }
    bool start_object(std::size_t) override { return enter(false); }
    bool start_array(std::size_t) override { return enter(true); }
    bool end_object() override { return leave(); }
    bool end_array() override { return leave(); }
    bool key(string_t& name) override {
        const std::string& parent = levels_.back().place;
        place_ = parent.empty() ? name : parent + "." + name;
        if (lines_.count(place_) != 0) {
            throw ScenarioError(place_ + ": is there twice, in lines " +
                                std::to_string(lines_[place_]) + " and " + std::to_string(line()));
        }
        lines_[place_] = line();
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const json::exception& e) override {
        throw ScenarioError(withoutName(e.what()));
    }

  private:
    struct Level {
        std::string place;
        bool isArray;
        std::size_t count = 0;
    };

    std::size_t line() {
        const auto end =
            static_cast<std::size_t>(in_.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in));
        for (; counted_ < std::min(end, text_.size()); ++counted_) {
            if (text_[counted_] == '\n') ++line_;
        }
        return line_;
    }

    // The place of a list's element is its index.
    bool value() {
        if (levels_.empty() || !levels_.back().isArray) return true;
        place_ = levels_.back().place + "[" + std::to_string(levels_.back().count++) + "]";
        lines_[place_] = line();
        return true;
    }

    bool enter(bool isArray) {
        value();
        if (levels_.size() == kDeepest) throw ScenarioError(place_ + ": nested too deeply");
        levels_.push_back({place_, isArray});
        return true;
    }

    bool leave() {
        levels_.pop_back();
        return true;
    }

    const std::string& text_;
    std::istringstream in_;
    std::size_t counted_ = 0;
    std::size_t line_ = 1;
    std::string place_;
    std::vector<Level> levels_;
    std::map<std::string, std::size_t> lines_;
};

}  // namespace

ScenarioLines::ScenarioLines(const std::string& text) : lines_(Follower(text).follow()) {}

std::size_t ScenarioLines::lineOf(const std::string& problem) const {
    const auto found = lines_.find(problem.substr(0, problem.find(": ")));
    return found == lines_.end() ? 1 : found->second;
}

}  // namespace tesksim
