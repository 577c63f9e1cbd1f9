#include "wireshark/Samples.h"

#include <cstdio>

#include "support/Bytes.h"
#include "support/HostClient.h"

namespace teskd::test {

namespace {

constexpr CaptureFile::Side kHost{1, 40000};
constexpr CaptureFile::Side kGateway{2, 5001};
constexpr CaptureFile::Side kNotifier{2, 41000};
constexpr CaptureFile::Side kServer{3, 5001};

const std::string kName = "ZA000000001";
const std::string kDates = name11("15.03.21");

std::string text8(const char* text) {
    std::string field(text);
    field.resize(8);
    return field;
}

std::string repeated(const char* text, std::size_t times) {
    std::string result;
    while (times-- > 0) result += text;
    return result;
}

std::vector<Sample> requests() {
    const std::string numbers = bytes("00 05 01 00");
    return {
        {"counters of every machine", Road::Request, 1, bytes("00"), "dorn.selector=0"},
        {"counters of one machine", Road::Request, 1, bytes("01") + kName,
         "dorn.name=ZA000000001 dorn.selector=1"},
        {"lists by fields", Road::Request, 2, "CNT00001CNT99999" + kName,
         "dorn.field_a=CNT00001 dorn.field_b=CNT99999 dorn.name=ZA000000001"},
        {"lists by numbers", Road::Request, 3, numbers + kName,
         "dorn.name=ZA000000001 dorn.number_x=5 dorn.number_y=256"},
        {"times of one machine", Road::Request, 4, "08:00:0020:00:00" + bytes("01") + name11("AB"),
         "dorn.field_a=08:00:00 dorn.field_b=20:00:00 dorn.name=AB dorn.selector=1"},
        {"times, cut short", Road::Request, 4, "08:00:00", "dorn.field_a=08:00:00"},
        {"value", Road::Request, 5, bytes("01") + name11("SlotMachine_1") + bytes("76"),
         "dorn.code=118 dorn.name=SlotMachine dorn.selector=1"},
        {"message", Road::Request, 6, kName + bytes("01 02 03 04") + "120~0008",
         "dorn.name=ZA000000001 dorn.payload=120~0008 dorn.unnamed=01020304"},
        {"software version", Road::Request, 7, "", ""},
        {"software version, with more", Road::Request, 7, bytes("AA"), "dorn.ignored=aa"},
        {"machines", Road::Request, 8, "", ""},
    };
}

std::vector<Sample> answers() {
    const std::string counters =
        bytes("00 00 00 64  00 00 00 C8  00 01") + bytes("7F FF FF FF  00 01 11 70  00 09");
    const std::string entries = "CNTTOTIN" + bytes("00 02  01 00 00 00 64  63 FF FF FF FF") +
                                text8("DROP") + bytes("00 00");
    const std::string times = "OPENDOOR" + bytes("00 02  0C 22 05  17 3B 01");
    const std::string message = std::string(kMessage);
    return {
        {"counters", Road::Answer, 1,
         "21.03.25" + bytes("03 02 01") + kDates + bytes("00") + counters,
         "dorn.cntcl=1 dorn.cnttotin=100 dorn.cnttotot=200 dorn.date=21.03.25 "
         "dorn.item3=2147483647 "
         "dorn.item4=70000 dorn.item5=9 dorn.machine_date=15.03.21 dorn.machines=3 dorn.number=2 "
         "dorn.one=1 dorn.outcome=0"},
        {"counters below zero", Road::Answer, 1,
         "21.03.25" + bytes("01 01 01") + kDates + bytes("00") +
             bytes("FF FF FF FB  FF FF FF FC  FF FF") + bytes("FF FF FF FD  80 00 00 00  FF FE"),
         "dorn.cntcl=65535 dorn.cnttotin=-5 dorn.cnttotot=-4 dorn.date=21.03.25 dorn.item3=-3 "
         "dorn.item4=-2147483648 dorn.item5=65534 dorn.machine_date=15.03.21 dorn.machines=1 "
         "dorn.number=1 dorn.one=1 dorn.outcome=0"},
        {"lists by fields", Road::Answer, 2,
         "21.03.25" + bytes("02 01") + kDates + bytes("03 02") + entries,
         "dorn.date=21.03.25 dorn.entries=2 dorn.entry.name=CNTTOTIN|DROP dorn.entry.values=2|0 "
         "dorn.machine_date=15.03.21 dorn.outcome=3 dorn.page=1 dorn.pages=2 "
         "dorn.value.number=1|99 dorn.value.value=100|-1"},
        {"lists by numbers, without entries", Road::Answer, 3,
         "21.03.25" + bytes("01 01") + kDates + bytes("09 00"),
         "dorn.date=21.03.25 dorn.entries=0 dorn.machine_date=15.03.21 dorn.outcome=9 "
         "dorn.page=1 dorn.pages=1"},
        {"times", Road::Answer, 4, "21.03.25" + bytes("01 01 00 01") + kDates + bytes("01") + times,
         "dorn.date=21.03.25 dorn.entries=1 dorn.entry.name=OPENDOOR dorn.entry.values=2 "
         "dorn.machine_date=15.03.21 dorn.one=1 dorn.outcome=0 dorn.page=1 dorn.pages=1 "
         "dorn.times.digit=5|1 dorn.times.first=12|23 dorn.times.second=34|59"},
        {"value", Road::Answer, 5,
         "21.03.25" + bytes("01 01 01") + kDates + bytes("00 FF FF FF FE") + text8("A1B2"),
         "dorn.answer.text=A1B2 dorn.answer.value=-2 dorn.date=21.03.25 "
         "dorn.machine_date=15.03.21 dorn.machines=1 dorn.number=1 dorn.one=1 dorn.outcome=0"},
        {"message", Road::Answer, 6, bytes("00 00 00 20") + message,
         "dorn.message_length=32 tesk.body=1~2~3~45 tesk.code_id=XN-2 tesk.date=210315 "
         "tesk.id=113 tesk.length=0020 tesk.outcome=00"},
        {"message with a trailer", Road::Answer, 6,
         bytes("00 00 01 28") + "118~0128~210315~ZP42~FF~AB~C" + std::string(268, '\x7E'),
         "dorn.message_length=296 tesk.body=AB~C tesk.code_id=ZP42 tesk.date=210315 tesk.id=118 "
         "tesk.length=0128 tesk.outcome=FF tesk.trailer=" +
             repeated("7e", 268)},
        {"software version", Road::Answer, 7, name11("1.2.3-rc4") + std::string(19, '\0'),
         "dorn.version=1.2.3-rc4"},
        {"machines", Road::Answer, 8,
         bytes("02") + kName + bytes("01 00 00") + name11("SlotMachine_") + bytes("04 00 01"),
         "dorn.count=2 dorn.machine.known=0|1 dorn.machine.port=1|4 dorn.machine.zero=0|0 "
         "dorn.name=ZA000000001|SlotMachine"},
    };
}

std::vector<Sample> aamsRequests() {
    const auto request = [](const char* name, int code, const std::string& text,
                            const char* shown) {
        return Sample{name, Road::Request, kAamsFrame, aamsBody(code, text), shown};
    };
    return {
        request("AAMS 501", 501, "-", "aams.code=501 aams.length=9 aams.prefix=9"),
        request("AAMS 502", 502, "", "aams.code=502 aams.length=8 aams.prefix=8"),
        request("AAMS 503", 503, "-XN42",
                "aams.code=503 aams.length=13 aams.machine=XN42 aams.prefix=13"),
        request("AAMS 503, text that is none", 503, "-" + bytes("E9 E9 E9") + "42",
                "aams.code=503 aams.length=14 aams.machine=���42 aams.prefix=14"),
        request("AAMS 504", 504, "-XN42",
                "aams.code=504 aams.length=13 aams.machine=XN42 aams.prefix=13"),
        request("AAMS 505", 505, "-", "aams.code=505 aams.length=9 aams.prefix=9"),
        request("AAMS 506", 506, "-10!1!0!5",
                "aams.code=506 aams.delay=5 aams.length=17 aams.parameters=10!1!0!5 "
                "aams.period=10 aams.prefix=17 aams.report=1 aams.report_none=0"),
        request("AAMS 506, other separators", 506, "-10" + bytes("FF") + "1~0 5",
                "aams.code=506 aams.delay=5 aams.length=17 aams.parameters=10�1~0 5 "
                "aams.period=10 aams.prefix=17 aams.report=1 aams.report_none=0"),
        request("AAMS 507", 507, "-240131235959",
                "aams.code=507 aams.date_time=240131235959 aams.length=21 aams.prefix=21"),
        request("AAMS, a code nobody knows", 508, "-AB",
                "aams.body=AB aams.code=508 aams.length=11 aams.prefix=11"),
    };
}

}  // namespace

std::string aamsBody(int code, const std::string& text) {
    char head[16];
    std::snprintf(head, sizeof head, "%03d-%04zX", code, text.size() + 8);
    return big32(static_cast<std::uint32_t>(text.size() + 8)) + head + text;
}

Frame Sample::frame() const {
    return Frame{.type = type, .identifierA = 7, .identifierB = 8, .body = body};
}

CaptureFile::Side Sample::from() const {
    if (overTcp()) return road == Road::Request ? kHost : kGateway;
    return road == Road::Notification ? kNotifier : kServer;
}

CaptureFile::Side Sample::to() const {
    if (overTcp()) return road == Road::Request ? kGateway : kHost;
    return road == Road::Notification ? kServer : kNotifier;
}

std::size_t Sample::send(CaptureFile& capture, std::string_view data) const {
    return overTcp() ? capture.tcp(from(), to(), data) : capture.udp(from(), to(), data);
}

namespace {

const std::string kMac = "-0001020a0b0c";
const std::string kStamp = "-240131235959";

Sample aamsAnswer(const char* name, int code, const std::string& text, const std::string& shown) {
    const Road road = code > 500 ? Road::Answer : Road::Notification;
    return {name, road, kAamsFrame, aamsBody(code, text), shown};
}

const std::string kTeskShown =
    " tesk.body=1~2~3~45 tesk.code_id=XN-2 tesk.date=210315 tesk.id=113 tesk.length=0020 "
    "tesk.outcome=00";
const std::string kTwoTeskShown =
    " tesk.body=1~2~3~45|1~2~3~45 tesk.code_id=XN-2|XN-2 tesk.date=210315|210315 tesk.id=113|113 "
    "tesk.length=0020|0020 tesk.outcome=00|00";

std::vector<Sample> aamsAnswers() {
    const std::string identification = "-00-TK4-1.2.3-240101000000-ACME-1-2" + kStamp;
    const std::string reading = kStamp + "-" + kMessage;
    return {
        aamsAnswer(
            "AAMS 501", 501, kMac + identification,
            "aams.code=501 aams.connection=2 aams.installed=240101000000 aams.length=69 "
            "aams.mac=0001020a0b0c aams.manufacturer=ACME aams.model=TK4 aams.prefix=69 "
            "aams.result=00 aams.software=1.2.3 aams.tesk_connection=1 aams.time=240131235959"),
        aamsAnswer("AAMS 501, not available", 501, kMac + "-0A",
                   "aams.code=501 aams.length=24 aams.mac=0001020a0b0c aams.prefix=24 "
                   "aams.result=0A"),
        aamsAnswer("AAMS 502", 502, kMac + "-00-4" + reading + reading + kStamp,
                   "aams.code=502 aams.length=131 aams.mac=0001020a0b0c aams.prefix=131 "
                   "aams.reading_time=240131235959|240131235959 aams.result=00 aams.state=4 "
                   "aams.time=240131235959" +
                       kTwoTeskShown),
        aamsAnswer("AAMS 508, which comes back as it was asked", 508, "-XN42",
                   "aams.body=-XN42 aams.code=508 aams.length=13 aams.prefix=13"),
        aamsAnswer("AAMS 502, nothing read", 502, kMac + "-0B",
                   "aams.code=502 aams.length=24 aams.mac=0001020a0b0c aams.prefix=24 "
                   "aams.result=0B"),
        aamsAnswer(
            "AAMS 503", 503, kMac + "-00-04" + reading + kStamp,
            "aams.code=503 aams.context=04 aams.length=86 aams.mac=0001020a0b0c "
            "aams.prefix=86 aams.reading_time=240131235959 aams.result=00 aams.time=240131235959" +
                kTeskShown),
        aamsAnswer("AAMS 503, unknown machine", 503, kMac + "-0C",
                   "aams.code=503 aams.length=24 aams.mac=0001020a0b0c aams.prefix=24 "
                   "aams.result=0C"),
        aamsAnswer("AAMS 504", 504, kMac + "-00-3-31-38" + reading + reading + kStamp,
                   "aams.check=31|38 aams.code=504 aams.length=137 aams.mac=0001020a0b0c "
                   "aams.prefix=137 aams.reading_time=240131235959|240131235959 aams.result=00 "
                   "aams.state=3 aams.time=240131235959" +
                       kTwoTeskShown),
        aamsAnswer("AAMS 504, no failed check", 504, kMac + "-0E",
                   "aams.code=504 aams.length=24 aams.mac=0001020a0b0c aams.prefix=24 "
                   "aams.result=0E"),
        aamsAnswer("AAMS 505", 505, kMac + "-00-10!1!0!5" + kStamp,
                   "aams.code=505 aams.delay=5 aams.length=46 aams.mac=0001020a0b0c "
                   "aams.parameters=10!1!0!5 aams.period=10 aams.prefix=46 aams.report=1 "
                   "aams.report_none=0 aams.result=00 aams.time=240131235959"),
        aamsAnswer("AAMS 505, not available", 505, kMac + "-0F",
                   "aams.code=505 aams.length=24 aams.mac=0001020a0b0c aams.prefix=24 "
                   "aams.result=0F"),
        aamsAnswer("AAMS 507, not set", 507, kMac + "-FF",
                   "aams.code=507 aams.length=24 aams.mac=0001020a0b0c aams.prefix=24 "
                   "aams.result=FF"),
        {"AAMS 506 or 507, done", Road::Answer, kAamsFrame, "", ""},
        aamsAnswer("notification 1", 1, kMac,
                   "aams.code=1 aams.length=21 aams.mac=0001020a0b0c aams.prefix=21"),
        aamsAnswer("notification 2", 2, kMac,
                   "aams.code=2 aams.length=21 aams.mac=0001020a0b0c aams.prefix=21"),
        aamsAnswer(
            "notification 3", 3, kMac + identification,
            "aams.code=3 aams.connection=2 aams.installed=240101000000 aams.length=69 "
            "aams.mac=0001020a0b0c aams.manufacturer=ACME aams.model=TK4 aams.prefix=69 "
            "aams.result=00 aams.software=1.2.3 aams.tesk_connection=1 aams.time=240131235959"),
        aamsAnswer(
            "notification 4", 4, kMac + "-00-4" + reading + kStamp,
            "aams.code=4 aams.length=85 aams.mac=0001020a0b0c aams.prefix=85 "
            "aams.reading_time=240131235959 aams.result=00 aams.state=4 aams.time=240131235959" +
                kTeskShown),
        aamsAnswer("notification 4, nobody answered", 4, kMac + "-00-4",
                   "aams.code=4 aams.length=26 aams.mac=0001020a0b0c aams.prefix=26 "
                   "aams.result=00 aams.state=4"),
        aamsAnswer("notification 5", 5, kMac + "-04-32-" + kMessage + kStamp,
                   "aams.check=32 aams.code=5 aams.context=04 aams.length=73 "
                   "aams.mac=0001020a0b0c aams.prefix=73 aams.time=240131235959" +
                       kTeskShown),
        aamsAnswer(
            "notification 5, a counter", 5,
            kMac + "-04-38-" + kMessage + kStamp + "-" + kMessage + "-240131225959",
            "aams.check=38 aams.code=5 aams.context=04 aams.length=119 aams.mac=0001020a0b0c "
            "aams.prefix=119 aams.reading_time=240131225959 aams.time=240131235959" +
                kTwoTeskShown),
        {"answer to notification 1", Road::NotificationAnswer, kAamsFrame,
         aamsBody(1, "-240131235959"),
         "aams.code=1 aams.date_time=240131235959 aams.length=21 aams.prefix=21"},
        {"answer to notification 2", Road::NotificationAnswer, kAamsFrame, aamsBody(2, "-5!1!1!1"),
         "aams.code=2 aams.delay=1 aams.length=16 aams.parameters=5!1!1!1 aams.period=5 "
         "aams.prefix=16 aams.report=1 aams.report_none=1"},
        {"answer to notification 3", Road::NotificationAnswer, kAamsFrame, aamsBody(3, ""),
         "aams.code=3 aams.length=8 aams.prefix=8"},
    };
}

}  // namespace

const std::vector<Sample>& samples() {
    static const std::vector<Sample> kSamples = [] {
        std::vector<Sample> all = requests();
        for (const auto& more : {answers(), aamsRequests(), aamsAnswers()}) {
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }();
    return kSamples;
}

const std::vector<std::string>& bodyFields() {
    static const std::vector<std::string> kFields = {"dorn.selector",      "dorn.name",
                                                     "dorn.field_a",       "dorn.field_b",
                                                     "dorn.number_x",      "dorn.number_y",
                                                     "dorn.code",          "dorn.unnamed",
                                                     "dorn.payload",       "dorn.date",
                                                     "dorn.machines",      "dorn.number",
                                                     "dorn.pages",         "dorn.page",
                                                     "dorn.one",           "dorn.machine_date",
                                                     "dorn.outcome",       "dorn.cnttotin",
                                                     "dorn.cnttotot",      "dorn.cntcl",
                                                     "dorn.item3",         "dorn.item4",
                                                     "dorn.item5",         "dorn.entries",
                                                     "dorn.entry.name",    "dorn.entry.values",
                                                     "dorn.value.number",  "dorn.value.value",
                                                     "dorn.times.first",   "dorn.times.second",
                                                     "dorn.times.digit",   "dorn.answer.value",
                                                     "dorn.answer.text",   "dorn.message_length",
                                                     "dorn.version",       "dorn.count",
                                                     "dorn.machine.port",  "dorn.machine.zero",
                                                     "dorn.machine.known", "dorn.ignored",
                                                     "dorn.junk",          "aams.prefix",
                                                     "aams.code",          "aams.length",
                                                     "aams.body",          "aams.mac",
                                                     "aams.result",        "aams.model",
                                                     "aams.software",      "aams.installed",
                                                     "aams.manufacturer",  "aams.tesk_connection",
                                                     "aams.connection",    "aams.state",
                                                     "aams.context",       "aams.check",
                                                     "aams.reading_time",  "aams.time",
                                                     "aams.machine",       "aams.date_time",
                                                     "aams.parameters",    "aams.period",
                                                     "aams.report",        "aams.report_none",
                                                     "aams.delay",         "tesk.id",
                                                     "tesk.length",        "tesk.date",
                                                     "tesk.code_id",       "tesk.outcome",
                                                     "tesk.body",          "tesk.trailer",
                                                     "dorn.malformed",     "aams.malformed",
                                                     "tesk.malformed",     "dorn.checksum.bad"};
    return kFields;
}

}  // namespace teskd::test
