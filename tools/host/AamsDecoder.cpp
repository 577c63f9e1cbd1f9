#include "host/AamsDecoder.h"

#include <sstream>

#include "host/AamsWords.h"
#include "host/DecodeError.h"

namespace teskhost {

namespace {

constexpr std::size_t kShortCodeSize = 2;  // contexts and check codes, unlike time stamps

std::string yesOrNo(const std::string& flag) {
    return flag == "0" ? "no" : "yes";
}

}  // namespace

AamsDecoder::AamsDecoder(const AamsMessage& message) : reader_(message.body()) {
    content_.code = message.code();
}

AamsContent AamsDecoder::run() {
    if (!reader_.atEnd()) {
        addField("MAC address");
        byCode();
    }
    if (!reader_.atEnd()) throw DecodeError("fields are left over: " + reader_.field());
    return content_;
}

void AamsDecoder::byCode() {
    const int code = content_.code;
    if (code == 1 || code == 2) return;
    if (code == 5) return failedCheck();
    if (!addResult()) return;
    if (code == 3 || code == 501) identification();
    if (code == 4 || code == 502) machines();
    if (code == 503) history();
    if (code == 504) failedChecks();
    if (code == 505) parameters();
}

void AamsDecoder::identification() {
    for (const char* name : {"model", "software version"}) addField(name);
    addStamp("software installed");
    for (const char* name : {"manufacturer", "Tesk connection type", "connection type"}) {
        addField(name);
    }
    addStamp("time of the answer");
}

void AamsDecoder::machines() {
    add("state", aamswords::state(reader_.field()));
    while (!reader_.atEnd()) {
        AamsReader ahead = reader_;
        ahead.field();
        if (ahead.atEnd()) return addStamp("time of the answer");
        addReading("");
    }
}

void AamsDecoder::history() {
    while (reader_.peek().size() == kShortCodeSize) {
        const std::string context = reader_.field();
        addReading(context);
    }
    addStamp("time of the answer");
}

void AamsDecoder::failedChecks() {
    add("state", aamswords::state(reader_.field()));
    while (reader_.peek().size() == kShortCodeSize) {
        add("failed check", aamswords::check(reader_.field()));
    }
    addReading("");
    addReading("");
    addStamp("time of the answer");
}

void AamsDecoder::parameters() {
    std::istringstream values(reader_.field());
    const auto next = [&] {
        std::string value;
        std::getline(values, value, '!');
        return value;
    };
    add("between two polling passes", next() + " min");
    add("report polling passes", yesOrNo(next()));
    add("report passes nobody answered", yesOrNo(next()));
    add("start to first polling pass", next() + " min");
    addStamp("time of the answer");
}

void AamsDecoder::failedCheck() {
    addField("context");
    add("failed check", aamswords::check(reader_.field()));
    AamsReading reading;
    reading.message = TeskText::decode(reader_.message());
    add("machine", reading.message.machine);
    addStamp("time of the report");
    if (!reader_.atEnd()) {
        reader_.message();
        reading.stamp = reader_.field();
        add("time of the reading", aamswords::stamp(reading.stamp));
    }
    content_.readings.push_back(reading);
}

void AamsDecoder::add(const std::string& name, const std::string& value) {
    content_.fields.push_back({name, value});
}

void AamsDecoder::addStamp(const std::string& name) {
    add(name, aamswords::stamp(reader_.field()));
}

bool AamsDecoder::addResult() {
    const std::string code = reader_.field();
    add("result", aamswords::result(code));
    return code == "00";
}

void AamsDecoder::addReading(const std::string& context) {
    const std::string stamp = reader_.field();
    const std::string text = reader_.message();
    if (!text.empty()) content_.readings.push_back({context, stamp, TeskText::decode(text)});
}

}  // namespace teskhost
