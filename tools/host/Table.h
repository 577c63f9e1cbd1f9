// A table of text: columns as wide as their widest cell, with their titles above. Cells are made
// printable().
//
// Ownership: a plain value. Threads: one user at a time.
// Errors: a row with more cells than there are columns loses the rest.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/Field.h"

namespace teskhost {

// The text with bytes that are no printable ASCII as "\x1B", since what a machine or a stranger
// sends shall not steer the reader's terminal.
std::string printable(const std::string& text);

class Table {
  public:
    enum class Align { Left, Right };
    struct Column {
        std::string title;
        Align align = Align::Left;
    };
    using Row = std::vector<std::string>;

    explicit Table(std::vector<Column> columns);
    // One line for every field.
    static Table ofFields(const Fields& fields);

    // A row that tells of something bad is red where there are colours.
    enum class Tone { Plain, Bad };
    void add(Row row, Tone tone = Tone::Plain);
    std::size_t size() const { return rows_.size(); }

    // Every line ends in a newline and begins with `indent` blanks. Colours are for terminals.
    std::string text(std::size_t indent = 2, bool colours = false) const;

  private:
    std::string line(const Row& row, std::size_t indent) const;
    std::string cell(const Row& row, std::size_t column) const;

    std::vector<Column> columns_;
    std::vector<std::size_t> widths_;
    std::vector<Row> rows_;
    std::vector<Tone> tones_;  // one for each row
};

}  // namespace teskhost
