#include "aams/ReadingCheck.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "core/Text.h"
#include "tesk/TeskPacket.h"

namespace teskd {

namespace {

constexpr std::size_t FIELDS = 6;
constexpr std::int32_t COUNTER_STEP = 50;
constexpr double LARGEST_ITEM5 = 14000;

double to_double(std::string_view field) {
    return std::strtod(std::string(field).c_str(), nullptr);
}

bool is_whole(double value) {
    return value == ReadingCheck::to_integer(value);
}

bool is_step(double value) {
    return ReadingCheck::to_integer(value) % COUNTER_STEP == 0;
}

}  // namespace

std::optional<ReadingCheck::Values> ReadingCheck::parse(std::string_view body) {
    const std::vector<std::string_view> fields =
        text::splitFields(body, TeskPacket::SEPARATOR, FIELDS);
    if (fields.size() < FIELDS) return std::nullopt;
    return Values{to_double(fields[0]), to_double(fields[1]), to_double(fields[2]),
                  to_double(fields[3]), to_double(fields[4]), to_double(fields[5])};
}

std::list<std::string> ReadingCheck::errors(const Values& v, const Stored& stored,
                                            bool with_trailer) {
    std::list<std::string> errors;
    const auto fails = [&errors](bool failed, const char* code) {
        if (failed) errors.emplace_back(code);
    };
    fails(v.item3 < 0 || !is_whole(v.item3), "31");
    fails(!is_whole(v.totalIn), "32");
    fails(v.item4 < 0 || !is_whole(v.item4), "33");
    fails(!is_whole(v.totalOut), "34");
    fails(v.item5 < 0, "35");
    fails(v.closedGames == 0 && !(v.item3 == v.totalIn && v.item4 == v.totalOut), "36");
    fails(v.closedGames > 0 && (v.item3 > v.totalIn || v.item4 > v.totalOut), "37");
    fails(stored.totalIn > v.totalIn, COUNTER_WENT_BACK);
    fails(stored.totalOut > v.totalOut, COUNTER_WENT_BACK);
    fails(stored.closedGames > v.closedGames, COUNTER_WENT_BACK);
    if (with_trailer) return errors;
    fails(!is_step(v.item3), "39");
    fails(!is_step(v.totalIn), "40");
    fails(v.item5 > LARGEST_ITEM5, "41");
    return errors;
}

std::int32_t ReadingCheck::to_integer(double value) {
    constexpr std::int32_t LOWEST = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t HIGHEST = std::numeric_limits<std::int32_t>::max();
    if (std::isnan(value)) return 0;
    if (value <= LOWEST) return LOWEST;
    if (value >= HIGHEST) return HIGHEST;
    return static_cast<std::int32_t>(value);
}

}  // namespace teskd
