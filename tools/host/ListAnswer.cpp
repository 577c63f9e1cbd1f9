#include "host/ListAnswer.h"

#include "host/ByteReader.h"

namespace teskhost {

namespace {

ListAnswer::Entry readEntry(ByteReader& in) {
    ListAnswer::Entry entry;
    entry.name = in.text(8);
    entry.values.resize(in.number16());
    for (ListAnswer::Value& value : entry.values) {
        value.number = in.byte();
        value.value = in.signed32();
    }
    return entry;
}

}  // namespace

ListAnswer ListAnswer::decode(std::string_view body) {
    ByteReader in(body);
    ListAnswer answer;
    answer.date = in.text(8);
    answer.pages = in.byte();
    answer.page = in.byte();
    answer.machineDate = in.text(11);
    answer.outcome = in.byte();
    const std::size_t count = in.byte();
    while (answer.entries.size() < count) answer.entries.push_back(readEntry(in));
    in.expectEnd();
    return answer;
}

}  // namespace teskhost
