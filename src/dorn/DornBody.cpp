#include "dorn/DornBody.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>

#include "core/BigEndian.h"
#include "core/Text.h"
#include "tesk/TeskPacket.h"

namespace teskd::dornbody {

namespace {

constexpr std::size_t NAME_SIZE = 11;
constexpr std::size_t DATE_SIZE = 11;
constexpr std::size_t ENTRY_NAME_SIZE = 8;
// The count of values is a 16-bit field; further values are dropped.
constexpr std::size_t MOST_VALUES = std::numeric_limits<std::uint16_t>::max();

struct OutcomeNumber {
    const char* text;
    std::uint8_t number;
};

constexpr OutcomeNumber OUTCOMES[] = {
    {"00", 0}, {"1A", 1}, {"1B", 2}, {"1C", 3}, {"1D", 4},
    {"1E", 5}, {"1F", 6}, {"1G", 7}, {"1H", 8}, {"FF", 9},
};

}  // namespace

std::uint8_t outcome_number(std::string_view outcome) {
    const auto found =
        std::find_if(std::begin(OUTCOMES), std::end(OUTCOMES),
                     [outcome](const OutcomeNumber& entry) { return outcome == entry.text; });
    return found == std::end(OUTCOMES) ? std::uint8_t{0} : found->number;
}

std::string name_field(std::string_view name) {
    return text::zeroFilled(name, NAME_SIZE);
}

std::string name_at(std::string_view body, std::size_t offset) {
    return text::untilZero(body.substr(offset, NAME_SIZE));
}

std::string date_field(const TeskPacket& answer) {
    return text::zeroFilled(answer.get_date(), DATE_SIZE);
}

std::string head(const TeskPacket& answer, const std::string& date, std::uint32_t targets,
                 std::uint32_t sequence) {
    std::string bytes = date;
    bytes.push_back(static_cast<char>(targets));
    bytes.push_back(static_cast<char>(sequence));
    bytes.push_back(1);
    bytes += date_field(answer);
    bytes.push_back(static_cast<char>(outcome_number(answer.get_outcome())));
    return bytes;
}

Pages::Pages(std::string_view payload, AppendValue append_value)
    : items_(text::splitFields(payload, ITEM_SEPARATOR)), append_value_(append_value) {}

std::string Pages::entries(std::size_t page) const {
    const std::size_t first = page * ITEMS_PER_PAGE;
    const std::size_t count = std::min((items_.size() - first) / 2, ENTRIES_PER_PAGE);
    std::string body(1, static_cast<char>(count));
    for (std::size_t i = 0; i < count; ++i) {
        append_entry(body, items_[first + 2 * i], items_[first + 2 * i + 1]);
    }
    return body;
}

void Pages::append_entry(std::string& body, std::string_view name, std::string_view values) const {
    const auto fields = std::count(values.begin(), values.end(), VALUE_SEPARATOR) + 1;
    const std::size_t count =
        values.empty() ? 0 : std::min(static_cast<std::size_t>(fields), MOST_VALUES);
    text::appendZeroFilled(body, name, ENTRY_NAME_SIZE);
    bigendian::append16(body, static_cast<std::uint32_t>(count));
    std::optional<std::string_view> rest = values;
    for (std::size_t i = 0; i < count; ++i) {
        append_value_(body, text::takeField(rest, VALUE_SEPARATOR));
    }
}

}  // namespace teskd::dornbody
