// Parts that several answer bodies of the host link share. Pure functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace teskd {

class TeskPacket;

namespace dornbody {

// Between the items of a machine's payload, and between the values of one item.
constexpr char ITEM_SEPARATOR = '~';
constexpr char VALUE_SEPARATOR = '!';

// The number that stands for the outcome text of a machine's answer; 0 for an unknown text.
std::uint8_t outcome_number(std::string_view outcome);

// The field with a machine's name: 11 bytes, zero-filled.
std::string name_field(std::string_view name);
// The name in such a field. The end of the body may cut it. @throws std::out_of_range for an offset
// beyond the body
std::string name_at(std::string_view body, std::size_t offset);

// The field with the date of a machine's answer: 11 bytes, zero-filled.
std::string date_field(const TeskPacket& answer);

// The 23 bytes in front of a single machine's answer: date, target count, sequence number, 1, the
// answer's date, outcome number. See DornPacketType1.
std::string head(const TeskPacket& answer, const std::string& date, std::uint32_t targets,
                 std::uint32_t sequence);

// Splits a machine's payload, which alternates names and value lists, into pages of 255 entries.
class Pages {
  public:
    using AppendValue = void (*)(std::string& body, std::string_view value);

    // The payload must outlive the pages.
    Pages(std::string_view payload, AppendValue append_value);

    // At least one. The last page is empty when the entries fill the others exactly.
    std::size_t count() const { return items_.size() / ITEMS_PER_PAGE + 1; }
    // A page's number of entries (one byte) and the entries: 8 bytes of name, number of values (2
    // bytes), values. A last name without a value list is ignored.
    std::string entries(std::size_t page) const;

  private:
    static constexpr std::size_t ENTRIES_PER_PAGE = 255;
    static constexpr std::size_t ITEMS_PER_PAGE = 2 * ENTRIES_PER_PAGE;

    void append_entry(std::string& body, std::string_view name, std::string_view values) const;

    std::vector<std::string_view> items_;
    AppendValue append_value_;
};

}  // namespace dornbody
}  // namespace teskd
