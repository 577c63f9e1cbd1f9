#include "dornctl/MachineTables.h"

#include "host/AnswerTables.h"
#include "host/Outcome.h"

namespace dornctl {

using namespace teskhost;

namespace {

constexpr auto kRight = Table::Align::Right;

Table::Tone toneOf(std::uint8_t outcome) {
    return outcome == 0 ? Table::Tone::Plain : Table::Tone::Bad;
}

template <typename Answer>
Table::Row headOf(const MachineAnswer<Answer>& entry) {
    return {entry.machine, entry.answer.machineDate, outcomeText(entry.answer.outcome)};
}

}  // namespace

// Without dates, so that a row fits a screen of 80 columns.
Table tableOf(const std::vector<MachineAnswer<CountersAnswer>>& answers) {
    Table table({{"machine"},
                 {"outcome"},
                 {"CNTTOTIN", kRight},
                 {"CNTTOTOT", kRight},
                 {"CNTCL", kRight},
                 {"item 3", kRight},
                 {"item 4", kRight},
                 {"item 5", kRight}});
    for (const auto& entry : answers) {
        Table::Row row = {entry.machine, outcomeText(entry.answer.outcome)};
        for (const std::int32_t item : entry.answer.items) row.push_back(std::to_string(item));
        table.add(row, toneOf(entry.answer.outcome));
    }
    return table;
}

Table tableOf(const std::vector<MachineAnswer<ValueAnswer>>& answers) {
    Table table({{"machine"}, {"date (machine)"}, {"outcome"}, {"number", kRight}, {"text"}});
    for (const auto& entry : answers) {
        Table::Row row = headOf(entry);
        row.insert(row.end(), {std::to_string(entry.answer.value), entry.answer.text});
        table.add(row, toneOf(entry.answer.outcome));
    }
    return table;
}

Table tableOf(const std::vector<MachineAnswer<TimesAnswer>>& answers) {
    Table table(
        {{"machine"}, {"date (machine)"}, {"outcome"}, {"entry"}, {"time"}, {"digit", kRight}});
    for (const auto& entry : answers) addEntries(table, headOf(entry), entry.answer);
    return table;
}

}  // namespace dornctl
