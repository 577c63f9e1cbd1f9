// Decoded answers as tables for a person to read.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <vector>

#include "host/AamsContent.h"
#include "host/CountersAnswer.h"
#include "host/ListAnswer.h"
#include "host/MachinesAnswer.h"
#include "host/MessageAnswer.h"
#include "host/Table.h"
#include "host/TimesAnswer.h"
#include "host/ValueAnswer.h"
#include "host/VersionAnswer.h"

namespace teskhost {

// One line for every answer.
Table tableOf(const std::vector<CountersAnswer>& answers);
Table tableOf(const std::vector<ValueAnswer>& answers);
// The head of a page.
Table tableOf(const ListAnswer& page);
// One line for every value; only the first `most` entries.
Table entriesOf(const ListAnswer& page, std::size_t most);
Table entriesOf(const std::vector<TimesAnswer>& pages);
// Adds a line for every time: the head, in the first line only, then entry, time and digit.
void addEntries(Table& table, Table::Row head, const TimesAnswer& page);
Table tableOf(const MessageAnswer& answer);
Table tableOf(const VersionAnswer& answer);
Table tableOf(const MachinesAnswer& answer);
// One line for every counter reading of an AAMS message.
Table tableOf(const std::vector<AamsReading>& readings);

}  // namespace teskhost
