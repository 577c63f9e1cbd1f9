#include "host/AnswerTables.h"

#include <algorithm>

#include "host/AamsWords.h"
#include "host/Outcome.h"

namespace teskhost {

namespace {

constexpr auto kRight = Table::Align::Right;

const std::vector<Table::Column> kCounterColumns = {{"CNTTOTIN", kRight}, {"CNTTOTOT", kRight},
                                                    {"CNTCL", kRight},    {"item 3", kRight},
                                                    {"item 4", kRight},   {"item 5", kRight}};

template <typename Item>
std::vector<Item> joined(std::vector<Item> first, const std::vector<Item>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string ofTotal(unsigned number, unsigned total) {
    return std::to_string(number) + " of " + std::to_string(total);
}

std::string twoDigits(unsigned number) {
    const std::string digits = std::to_string(number);
    return number < 10 ? std::string("0").append(digits) : digits;
}

// Only the first line has the page's head, and only the first value of an entry its name.
void addEntry(Table& table, Table::Row& head, const TimesAnswer::Entry& entry) {
    if (entry.values.empty()) {
        table.add(joined(head, {entry.name}));
        head.assign(head.size(), "");
        return;
    }
    std::string name = entry.name;
    for (const TimesAnswer::Value& value : entry.values) {
        const std::string time = twoDigits(value.first) + ":" + twoDigits(value.second);
        table.add(joined(head, {name, time, std::to_string(value.digit)}));
        head.assign(head.size(), "");
        name.clear();
    }
}

}  // namespace

Table tableOf(const std::vector<CountersAnswer>& answers) {
    Table table(joined<Table::Column>(
        {{"answer"}, {"date (daemon)"}, {"date (machine)"}, {"outcome"}}, kCounterColumns));
    for (const CountersAnswer& answer : answers) {
        Table::Row row = {ofTotal(answer.number, answer.machines), answer.date, answer.machineDate,
                          outcomeText(answer.outcome)};
        for (const std::int32_t item : answer.items) row.push_back(std::to_string(item));
        table.add(row);
    }
    return table;
}

Table tableOf(const std::vector<ValueAnswer>& answers) {
    Table table({{"answer"},
                 {"date (daemon)"},
                 {"date (machine)"},
                 {"outcome"},
                 {"number", kRight},
                 {"text"}});
    for (const ValueAnswer& answer : answers) {
        table.add({ofTotal(answer.number, answer.machines), answer.date, answer.machineDate,
                   outcomeText(answer.outcome), std::to_string(answer.value), answer.text});
    }
    return table;
}

Table tableOf(const ListAnswer& page) {
    Table table(
        {{"page"}, {"date (daemon)"}, {"date (machine)"}, {"outcome"}, {"entries", kRight}});
    table.add({ofTotal(page.page, page.pages), page.date, page.machineDate,
               outcomeText(page.outcome), std::to_string(page.entries.size())});
    return table;
}

Table entriesOf(const ListAnswer& page, std::size_t most) {
    Table table({{"entry"}, {"number", kRight}, {"value", kRight}});
    for (std::size_t i = 0; i < std::min(most, page.entries.size()); ++i) {
        const ListAnswer::Entry& entry = page.entries[i];
        if (entry.values.empty()) table.add({entry.name});
        for (const ListAnswer::Value& value : entry.values) {
            const bool first = &value == &entry.values.front();
            table.add({first ? entry.name : "", std::to_string(value.number),
                       std::to_string(value.value)});
        }
    }
    const std::size_t more = page.entries.size() - std::min(most, page.entries.size());
    if (more > 0) table.add({"... and " + std::to_string(more) + " more"});
    return table;
}

Table entriesOf(const std::vector<TimesAnswer>& pages) {
    Table table({{"page"},
                 {"date (daemon)"},
                 {"date (machine)"},
                 {"outcome"},
                 {"entry"},
                 {"time"},
                 {"digit", kRight}});
    for (const TimesAnswer& page : pages) {
        addEntries(table,
                   {ofTotal(page.page, page.pages), page.date, page.machineDate,
                    outcomeText(page.outcome)},
                   page);
    }
    return table;
}

void addEntries(Table& table, Table::Row head, const TimesAnswer& page) {
    if (page.entries.empty()) table.add(head);
    for (const TimesAnswer::Entry& entry : page.entries) addEntry(table, head, entry);
}

Table tableOf(const MessageAnswer& answer) {
    const TeskText& message = answer.message;
    return Table::ofFields(Fields{{"size", std::to_string(answer.size) + " bytes"},
                                  {"message ID", message.id},
                                  {"date (machine)", message.date},
                                  {"machine", message.machine},
                                  {"outcome", message.outcome},
                                  {"body", message.body},
                                  {"trailer", message.trailer ? "268 bytes" : "none"}});
}

Table tableOf(const VersionAnswer& answer) {
    return Table::ofFields(Fields{{"software version", answer.version}});
}

Table tableOf(const MachinesAnswer& answer) {
    Table table({{"machine"}, {"serial port", kRight}, {"state"}});
    for (const MachinesAnswer::Machine& machine : answer.machines) {
        table.add({machine.name, std::to_string(machine.port),
                   machine.known ? "known" : "not known (its last answer failed to come)"});
    }
    return table;
}

Table tableOf(const std::vector<AamsReading>& readings) {
    const auto hasContext = [](const AamsReading& reading) { return !reading.context.empty(); };
    const bool contexts = std::any_of(readings.begin(), readings.end(), hasContext);
    auto columns = joined<Table::Column>({{"time of the reading"}, {"machine"}, {"outcome"}},
                                         joined<Table::Column>(kCounterColumns, {{"trailer"}}));
    if (contexts) columns.push_back({"context"});
    Table table(columns);
    for (const AamsReading& reading : readings) {
        const TeskText& message = reading.message;
        std::vector<std::string> items = message.items();
        items.resize(kCounterColumns.size());
        Table::Row row =
            joined({aamswords::stamp(reading.stamp), message.machine, message.outcome}, items);
        row.push_back(message.trailer ? "268 bytes" : "none");
        if (contexts) row.push_back(reading.context);
        table.add(row);
    }
    return table;
}

}  // namespace teskhost
