// A text table: titled columns, each as wide as its widest cell. Cells are converted by
// printable().
//
// Ownership: a plain value. Threads: one user at a time.
// Errors: cells beyond the number of columns are dropped.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/Field.h"

namespace teskhost {

// The text with non-printable bytes as "\x1B": received text must not contain control sequences for
// the reader's terminal.
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

    // A row about a failure is red if there are colours.
    enum class Tone { Plain, Bad };
    void add(Row row, Tone tone = Tone::Plain);
    std::size_t size() const { return rows_.size(); }

    // Every line is indented by `indent` blanks and ends in a newline. Use colours for terminals
    // only.
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
