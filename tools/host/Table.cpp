#include "host/Table.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace teskhost {

namespace {

constexpr char kGap[] = "  ";

constexpr char kBold[] = "\x1B[1m";
constexpr char kRed[] = "\x1B[31m";
constexpr char kPlain[] = "\x1B[0m";

// A complete line, without its newline.
std::string painted(const std::string& line, const char* colour) {
    return colour + line.substr(0, line.size() - 1) + kPlain + '\n';
}

void removeBlanksAtEnd(std::string& text) {
    text.erase(text.find_last_not_of(' ') + 1);
}

}  // namespace

std::string printable(const std::string& text) {
    std::string result;
    for (const char c : text) {
        char escaped[8];
        const bool plain = c >= ' ' && c <= '~';
        if (!plain)
            std::snprintf(escaped, sizeof escaped, "\\x%02X",
                          unsigned{static_cast<unsigned char>(c)});
        result += plain ? std::string(1, c) : escaped;
    }
    return result;
}

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {
    for (const Column& column : columns_) widths_.push_back(column.title.size());
}

Table Table::ofFields(const Fields& fields) {
    Table table({{"field"}, {"value"}});
    for (const Field& field : fields) table.add({field.name, field.value});
    return table;
}

void Table::add(Row row, Tone tone) {
    row.resize(columns_.size());
    for (std::string& text : row) text = printable(text);
    for (std::size_t i = 0; i < row.size(); ++i) widths_[i] = std::max(widths_[i], row[i].size());
    rows_.push_back(std::move(row));
    tones_.push_back(tone);
}

std::string Table::text(std::size_t indent, bool colours) const {
    Row titles;
    Row rules;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        titles.push_back(columns_[i].title);
        rules.emplace_back(widths_[i], '-');
    }
    const std::string head = line(titles, indent);
    std::string result = (colours ? painted(head, kBold) : head) + line(rules, indent);
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        const std::string text = line(rows_[i], indent);
        result += colours && tones_[i] == Tone::Bad ? painted(text, kRed) : text;
    }
    return result;
}

std::string Table::line(const Row& row, std::size_t indent) const {
    std::string result(indent, ' ');
    for (std::size_t i = 0; i < row.size(); ++i) result += (i == 0 ? "" : kGap) + cell(row, i);
    removeBlanksAtEnd(result);
    return result + '\n';
}

std::string Table::cell(const Row& row, std::size_t column) const {
    const std::string filler(widths_[column] - row[column].size(), ' ');
    const bool right = columns_[column].align == Align::Right;
    return right ? filler + row[column] : row[column] + filler;
}

}  // namespace teskhost
