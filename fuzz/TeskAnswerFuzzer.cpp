// Anything that a machine may answer, in any pieces, to requests of every form, with and without
// requests before it that timed out.

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "core/Exception.h"
#include "core/LogSource.h"
#include "fuzz/FragmentedInputStream.h"
#include "fuzz/Fuzzer.h"
#include "fuzz/LargestAllocation.h"
#include "fuzz/Require.h"
#include "net/BufferedInputStream.h"
#include "net/MemoryInputStream.h"
#include "packet/Packet.h"
#include "support_src/NoOptions.h"
#include "telnet/TelnetInputStream.h"
#include "tesk/LateAnswers.h"
#include "tesk/TeskPacket.h"

namespace {

using teskd::TeskPacket;
using teskd::fuzz::FragmentedInputStream;
using teskd::fuzz::require;

// More than any block that is taken before the bytes for it are there.
constexpr std::size_t ALLOWANCE = 32768;
constexpr char SEPARATOR = '~';

// The low bits of a byte say what is asked.
void ask(TeskPacket& request, unsigned form) {
    constexpr const char* WHOLE_MESSAGES[] = {"120~0008", "113~000C~007", "~", "hello"};
    if (form % 2 == 0) {
        request.set_id(form % 4 == 0 ? 113 : 118);
        request.set_body(form % 8 < 4 ? "" : "01.01.21~31.12.21");
        return;
    }
    request.set_raw();
    request.set_body(WHOLE_MESSAGES[form / 2 % 4]);
}

void time_out(teskd::LateAnswers& late, const char* text) {
    TeskPacket request;
    request.set_raw();
    request.set_body(text);
    late.begin(request);
    late.timedOut();
}

// The high bits of it say which requests timed out before.
void time_out(teskd::LateAnswers& late, unsigned form) {
    if ((form & 0x10) != 0) time_out(late, "113~0008");
    if ((form & 0x20) != 0) time_out(late, "115~0008");
    if ((form & 0x40) != 0) time_out(late, "115~000C~007");
    if ((form & 0x80) != 0) time_out(late, "hello");
}

// The fields of an answer in front of its body, put together again.
std::string behind_the_length(const TeskPacket& packet) {
    return SEPARATOR + packet.get_date() + SEPARATOR + packet.get_code_id() + SEPARATOR +
           packet.get_outcome();
}

bool has(std::string_view bytes, std::string_view part) {
    return bytes.find(part) != std::string_view::npos;
}

void check_answer(const TeskPacket& packet, std::string_view bytes) {
    require(packet.get_body().size() + packet.get_surplus().size() <= 2 * bytes.size(),
            "a body has bytes that were received");
    require(packet.get_outcome().size() == 2, "an outcome has two characters");
    require(packet.get_code_id().size() >= 2, "a code identifier has two characters");
    if (has(bytes, "\xFF")) return;  // there may be commands among the fields
    require(has(bytes, behind_the_length(packet)), "the fields are those received");
    require(has(bytes, packet.get_body()), "the body is the one received");
    require(has(bytes, packet.get_surplus()), "the surplus is bytes received");
}

// An answer put into text is read as the same answer, unless the body begins like a separator.
void check_text(const TeskPacket& packet) {
    const std::string body = packet.get_body();
    if (body.empty() || body.front() == SEPARATOR) return;
    const std::string text = packet.to_string();
    teskd::MemoryInputStream in(text);
    TeskPacket copy;
    copy.read(in);
    require(in.available() == 0, "the text's length is that of the answer");
    require(copy.to_string() == text, "the text is that of the answer");
}

// True when another answer may follow.
bool read_answer(teskd::LateAnswers& late, teskd::InputStream& input, TeskPacket& packet,
                 std::string_view bytes) {
    try {
        late.read(input, packet, "SlotMachine_1");
    } catch (const teskd::ReadTimeoutException&) {
        late.timedOut();
        return true;
    } catch (const teskd::TeskConnectionErrorException&) {
        return false;
    } catch (const std::out_of_range&) {
        return false;  // a code identifier that is too short
    }
    check_answer(packet, bytes);
    check_text(packet);
    return true;
}

void serve(unsigned form, const std::uint8_t* data, std::size_t size) {
    FragmentedInputStream bytes(data, size, FragmentedInputStream::TimeOuts::some);
    teskd::BufferedInputStream buffered(bytes);
    teskd::test::NoOptions options;
    teskd::TelnetInputStream input(buffered, options, teskd::LogSource::unlimited());
    teskd::LateAnswers late(teskd::LogSource::unlimited());
    time_out(late, form);
    bool goesOn = true;
    while (goesOn) {
        if (late.hasAsked() && (form & 0x08) != 0) {
            late.drop(input.takeArrived(), "SlotMachine_1");
        }
        TeskPacket packet;
        ask(packet, form);
        late.begin(packet);
        goesOn = read_answer(late, input, packet, bytes.bytes());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const teskd::fuzz::LargestAllocation memory;
    serve(data[0], data + 1, size - 1);
    require(memory.size() <= 4 * size + ALLOWANCE, "memory is taken for bytes that are there");
    return 0;
}
