#include "host/TimesAnswer.h"

#include "host/ByteReader.h"

namespace teskhost {

namespace {

TimesAnswer::Entry readEntry(ByteReader& in) {
    TimesAnswer::Entry entry;
    entry.name = in.text(8);
    entry.values.resize(in.number16());
    for (TimesAnswer::Value& value : entry.values) {
        value.first = in.byte();
        value.second = in.byte();
        value.digit = in.byte();
    }
    return entry;
}

}  // namespace

TimesAnswer TimesAnswer::decode(std::string_view body) {
    ByteReader in(body);
    TimesAnswer answer;
    answer.date = in.text(8);
    answer.pages = in.byte();
    answer.page = in.byte();
    answer.outcome = in.byte();
    in.byte();
    answer.machineDate = in.text(11);
    const std::size_t count = in.byte();
    while (answer.entries.size() < count) answer.entries.push_back(readEntry(in));
    in.expectEnd();
    return answer;
}

}  // namespace teskhost
