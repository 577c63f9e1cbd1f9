#include <gtest/gtest.h>
#include <stdexcept>

#include "net/MemoryInputStream.h"
#include "support/Bytes.h"
#include "support_src/RecordedOutputStream.h"
#include "support_src/ScriptedInputStream.h"
#include "support_src/Thrown.h"
#include "tesk/TeskPacket.h"

namespace teskd::test {
namespace {

const std::string kError = "TeskException: TeskConnectionErrorException: ";

void readInto(TeskPacket& packet, const std::string& answer) {
    MemoryInputStream in(answer);
    packet.read(in);
}
std::string written(TeskPacket& packet) {
    RecordedOutputStream out;
    packet.write(out);
    return out.bytes;
}

TEST(TeskPacket, StartsWithDefaults) {
    const TeskPacket packet;
    EXPECT_EQ(0, packet.get_id());
    EXPECT_EQ("", packet.get_date());
    EXPECT_EQ("", packet.get_code_id());
    EXPECT_EQ("FF", packet.get_outcome());
    EXPECT_EQ("", packet.get_body());
    EXPECT_FALSE(packet.has_trailer());
    EXPECT_EQ(0U, packet.get_context());
    EXPECT_EQ("0~000B~~~FF", packet.to_string());
}

TEST(TeskPacket, TheIdIsDecimalText) {
    TeskPacket packet;
    packet.set_id(118);
    EXPECT_EQ(118, packet.get_id());
    EXPECT_EQ("118~0008", written(packet));
    packet.set_id(-7);
    EXPECT_EQ(-7, packet.get_id());
}

TEST(TeskPacket, KeepsTheRequestersWord) {
    TeskPacket packet;
    packet.set_id(118);
    packet.set_context(0xFFFFFFFF);
    EXPECT_EQ(0xFFFFFFFF, packet.get_context());
    EXPECT_EQ("118~0008", written(packet));
}

TEST(TeskPacketBody, GetsASeparatorUnlessItHasOne) {
    TeskPacket packet;
    packet.set_body("456");
    EXPECT_EQ("~456", packet.get_body());
    packet.set_body("~456");
    EXPECT_EQ("~456", packet.get_body());
    packet.set_body("~");
    EXPECT_EQ("~", packet.get_body());
    packet.set_body("");
    EXPECT_EQ("", packet.get_body());
}

TEST(TeskPacketBody, StaysAsItIsInARawPacket) {
    TeskPacket packet;
    packet.set_id(118);
    packet.set_raw();
    packet.set_body("456");
    EXPECT_EQ("456", packet.get_body());
    EXPECT_EQ("456", written(packet));
    packet.set_body(bytes("00 7E FF"));
    EXPECT_BYTES(bytes("00 7E FF"), written(packet));
    packet.set_body("");
    EXPECT_EQ("", written(packet));
}

TEST(TeskPacketWrite, SendsHeaderAndBody) {
    TeskPacket packet;
    packet.set_id(150);
    packet.set_body("456");
    EXPECT_EQ("150~000C~456", written(packet));
}

TEST(TeskPacketWrite, TheLengthIsHexadecimalAndCountsTheWholeMessage) {
    TeskPacket packet;
    packet.set_id(118);
    packet.set_body(std::string(0xABC - 9, 'x'));
    EXPECT_EQ("118~0ABC~" + std::string(0xABC - 9, 'x'), written(packet));
}

TEST(TeskPacketWrite, AShorterIdIsFilledUpWithZeroBytes) {
    TeskPacket packet;
    packet.set_body("456");
    packet.set_id(12);
    EXPECT_EQ(std::string("12~000C\0~456", 12), written(packet));
    packet.set_id(1);
    EXPECT_EQ(std::string("1~000C\0\0~456", 12), written(packet));
}

TEST(TeskPacketWrite, ALongerIdCutsTheLength) {
    TeskPacket packet;
    packet.set_body("456");
    packet.set_id(1234);
    EXPECT_EQ("1234~000~456", written(packet));
    packet.set_id(123456789);
    EXPECT_EQ("12345678~456", written(packet));
}

TEST(TeskPacketWrite, TheTrailerStaysBehind) {
    TeskPacket packet;
    readInto(packet, "123~0124~210315~XN42~00" + std::string(269, 'x'));
    ASSERT_TRUE(packet.has_trailer());
    packet.set_body("456");
    EXPECT_EQ("123~000C~456", written(packet));
}

TEST(TeskPacketRead, TakesTheFieldsOfAnAnswer) {
    TeskPacket packet;
    readInto(packet, "123~001A~210315~XN42~00~OK");
    EXPECT_EQ(123, packet.get_id());
    EXPECT_EQ("210315", packet.get_date());
    EXPECT_EQ("XN42", packet.get_code_id());
    EXPECT_EQ("00", packet.get_outcome());
    EXPECT_EQ("OK", packet.get_body());
    EXPECT_FALSE(packet.has_trailer());
}

TEST(TeskPacketRead, AnAnswerMayHaveNoBody) {
    TeskPacket packet;
    packet.set_body("request");
    readInto(packet, "123~0017~210315~XN42~00");
    EXPECT_EQ("00", packet.get_outcome());
    EXPECT_EQ("", packet.get_body());
}

TEST(TeskPacketRead, FieldsMayBeEmptyOrNoNumber) {
    TeskPacket packet;
    readInto(packet, "~~~XN~00");
    EXPECT_EQ(0, packet.get_id());
    EXPECT_EQ("", packet.get_date());
    EXPECT_EQ("00", packet.get_outcome());
    readInto(packet, "ab~cg~210315~XN~~~");
    EXPECT_EQ(0, packet.get_id());
    EXPECT_EQ("~~", packet.get_outcome());
}

TEST(TeskPacketRead, OnlyTheFirstSeparatorOfTheBodyIsDropped) {
    TeskPacket packet;
    readInto(packet, "123~001C~210315~XA42~00~~a~b");
    EXPECT_EQ("~a~b", packet.get_body());
    readInto(packet, "123~001A~210315~XA42~00abc");
    EXPECT_EQ("abc", packet.get_body());
}

TEST(TeskPacketRead, TheLengthMayBeWrittenInLowerCaseAndWithOtherDigits) {
    for (const char* const length : {"1A", "1a", "01A", "001A", "0x1A", " 1A", "1Ax"}) {
        TeskPacket packet;
        const std::string answer = std::string("123~") + length + "~210315~XN42~00~";
        const std::string body(26 - answer.size(), 'b');
        ScriptedInputStream in{answer + body, TimeOut{}};
        packet.read(in);
        EXPECT_EQ(body, packet.get_body()) << length;
    }
}

// A length that the header has used up already leaves the rest in the stream.
TEST(TeskPacketRead, ALengthOfTheHeaderOrLessMeansNoBody) {
    for (const char* const length : {"0017", "0016", "0000", "", "-001", "zz", "-7FFFFFFFFFFFFF"}) {
        TeskPacket packet;
        const std::string answer = std::string("123~") + length + "~210315~XN42~00";
        ScriptedInputStream in{answer, TimeOut{}};
        packet.read(in);
        EXPECT_EQ("", packet.get_body()) << length;
    }
}

TEST(TeskPacketRead, BytesThatArriveWithTheLastOnesStayInTheBody) {
    TeskPacket packet;
    ScriptedInputStream in{"123~0019~210315~XA42~00~OK and more"};
    packet.read(in);
    EXPECT_EQ("OK and more", packet.get_body());
}

// The machine has answered twice; its second answer may have come in part only.
TEST(TeskPacketRead, AnotherMessageThatArrivesWithTheLastBytesIsNotPartOfTheBody) {
    const std::string another = "123~001A~210315~XA42~00~NO";
    for (std::size_t size = 1; size <= another.size(); ++size) {
        TeskPacket packet;
        const std::string surplus = another.substr(0, size);
        ScriptedInputStream in{"123~001A~210315~XA42~00~OK" + surplus};
        packet.read(in);
        EXPECT_EQ("OK", packet.get_body()) << surplus;
        EXPECT_EQ(surplus, packet.get_surplus());
    }
}

TEST(TeskPacketRead, AnotherMessageBehindATrailerDoesNotShiftIt) {
    TeskPacket packet;
    ScriptedInputStream in{"123~0126~210315~XN42~00~OK" + std::string(268, 't') +
                           "113~0018~210315~XN42~00~"};
    packet.read(in);
    EXPECT_EQ("OK", packet.get_body());
    EXPECT_TRUE(packet.to_string().ends_with("~OK" + std::string(268, 't')));
}

TEST(TeskPacketRead, AsksForTheBodyInWholeBlocks) {
    TeskPacket packet;
    ScriptedInputStream in{"123~001A~210315~XN42~00", "~", "OK"};
    packet.read(in);
    in.requests.erase(in.requests.begin(), in.requests.begin() + 23);
    EXPECT_EQ((std::vector<int>{4096, 4096}), in.requests);
}

TEST(TeskPacketRead, ALongBodyIsGathered) {
    TeskPacket packet;
    const std::string body(50'000, 'x');
    readInto(packet, "123~C368~210315~XA42~00~" + body);
    EXPECT_EQ(body, packet.get_body());
}

TEST(TeskPacketRead, APacketBorderAnywhereChangesNothing) {
    const std::string answer = "123~001A~210315~XN42~00~OK";
    for (std::size_t at = 1; at < answer.size(); ++at) {
        TeskPacket packet;
        ScriptedInputStream in{answer.substr(0, at), Pause{}, answer.substr(at)};
        packet.read(in);
        EXPECT_EQ(answer, packet.to_string()) << at;
    }
}

TEST(TeskPacketRead, SingleBytesChangeNothing) {
    const std::string answer =
        "123~0144~210315~XP42~00~" + std::string(32, 'b') + std::string(268, 't');
    std::vector<ScriptedInputStream::Event> script;
    for (const char byte : answer) {
        script.emplace_back(std::string(1, byte));
        script.emplace_back(Pause{});
    }
    ScriptedInputStream in(script);
    TeskPacket packet;
    packet.read(in);
    EXPECT_EQ(std::string(32, 'b'), packet.get_body());
    EXPECT_TRUE(packet.has_trailer());
}

struct Cut {
    const char* answer;
    const char* error;
};

TEST(TeskPacketRead, AnAnswerThatEndsEarlyIsAnErrorThatNamesTheField) {
    const Cut cuts[] = {{"", "Could not read message ID"},
                        {"123", "Could not read message ID"},
                        {"123~", "Could not read message Len"},
                        {"123~001A", "Could not read message Len"},
                        {"123~001A~", "Could not read Date"},
                        {"123~001A~210315", "Could not read Date"},
                        {"123~001A~210315~", "Could not read CodeId"},
                        {"123~001A~210315~XN42", "Could not read CodeId"},
                        {"123~001A~210315~XN42~", "Could not read Outcome"},
                        {"123~001A~210315~XN42~0", "Could not read Outcome"},
                        {"123~001A~210315~XN42~00", "Short read on the body"},
                        {"123~001A~210315~XN42~00~", "Short read on the body"},
                        {"123~001A~210315~XN42~00~O", "Short read on the body"}};
    for (const Cut& cut : cuts) {
        TeskPacket packet;
        EXPECT_EQ(kError + cut.error,
                  messageOf<TeskConnectionErrorException>([&] { readInto(packet, cut.answer); }))
            << cut.answer;
    }
}

TEST(TeskPacketRead, TheFieldsBeforeAFailureKeepTheirNewValues) {
    TeskPacket packet;
    readInto(packet, "123~001A~210315~XN42~00~OK");
    EXPECT_THROW(readInto(packet, "456~001A~220416~YN"), TeskConnectionErrorException);
    EXPECT_EQ(456, packet.get_id());
    EXPECT_EQ("220416", packet.get_date());
    EXPECT_EQ("00", packet.get_outcome());
    EXPECT_EQ("OK", packet.get_body());
}

TEST(TeskPacketRead, ATimeoutStaysATimeout) {
    const std::string answer = "123~001A~210315~XN42~00~OK";
    for (std::size_t at = 0; at < answer.size(); ++at) {
        TeskPacket packet;
        std::vector<ScriptedInputStream::Event> script{TimeOut{}, answer.substr(at)};
        if (at > 0) script.insert(script.begin(), answer.substr(0, at));
        ScriptedInputStream in(script);
        EXPECT_EQ("IOException: ReadTimeoutException: SocketTimeoutException: scripted",
                  messageOf<ReadTimeoutException>([&] { packet.read(in); }))
            << at;
    }
}

TEST(TeskPacketRead, ALengthBeyondReasonIsAnError) {
    for (const char* const length : {"1000001", "7FFFFFFF", "FFFFFFFF", "FFFFFFFFFFFFFFFFFFFF"}) {
        TeskPacket packet;
        EXPECT_EQ(kError + "Could not read message Len",
                  messageOf<TeskConnectionErrorException>([&] {
                      readInto(packet, std::string("123~") + length + "~210315~XN42~00~OK");
                  }))
            << length;
    }
}

TEST(TeskPacketRead, TheLongestAnswerIsOfSixteenMebibytes) {
    TeskPacket packet;
    const std::string header = "123~1000000~210315~XA42~00";
    readInto(packet, header + std::string(0x1000000 - header.size(), 'x'));
    EXPECT_EQ(0x1000000 - header.size(), packet.get_body().size());
}

TEST(TeskPacketRead, AFieldWithoutEndIsAnError) {
    struct Endless : InputStream {
        using InputStream::read;
        int read() override { return 'x'; }
    } in;
    TeskPacket packet;
    EXPECT_EQ(kError + "Could not read message ID",
              messageOf<TeskConnectionErrorException>([&] { packet.read(in); }));
}

TEST(TeskPacketRead, ACodeIdShorterThanTwoCharactersIsOutOfRange) {
    for (const char* const answer : {"123~0014~210315~X~00", "123~0013~210315~~00"}) {
        TeskPacket packet;
        EXPECT_THROW(readInto(packet, answer), std::out_of_range) << answer;
    }
}

TEST(TeskPacketTrailer, IsCutFromTheBodyOfMachinesOfTheseKinds) {
    const std::string body = std::string(32, 'b') + std::string(268, 't');
    for (const char* const code : {"XN42", "XP42", "NN42", "0P"}) {
        TeskPacket packet;
        readInto(packet, std::string("123~0140~210315~") + code + "~00~" + body);
        EXPECT_TRUE(packet.has_trailer()) << code;
        EXPECT_EQ(std::string(32, 'b'), packet.get_body()) << code;
        EXPECT_TRUE(packet.to_string().ends_with("~" + body)) << code;
    }
}

TEST(TeskPacketTrailer, StaysInTheBodyOfOtherMachines) {
    const std::string body(300, 'b');
    for (const char* const code : {"XX42", "NX42", "Xn42", "XXN", "PX"}) {
        TeskPacket packet;
        readInto(packet, std::string("123~0140~210315~") + code + "~00~" + body);
        EXPECT_FALSE(packet.has_trailer()) << code;
        EXPECT_EQ(body, packet.get_body()) << code;
    }
}

TEST(TeskPacketTrailer, NeedsABodyOf268Bytes) {
    TeskPacket packet;
    readInto(packet, "123~0123~210315~XN42~00~" + std::string(267, 'b'));
    EXPECT_FALSE(packet.has_trailer());
    EXPECT_EQ(267U, packet.get_body().size());
    readInto(packet, "123~0124~210315~XN42~00~" + std::string(268, 'b'));
    EXPECT_TRUE(packet.has_trailer());
    EXPECT_EQ("", packet.get_body());
}

TEST(TeskPacketTrailer, OfAnEarlierAnswerIsKept) {
    TeskPacket packet;
    readInto(packet, "123~0124~210315~XN42~00~" + std::string(268, 't'));
    readInto(packet, "123~001A~210315~XN42~00~OK");
    EXPECT_TRUE(packet.has_trailer());
}

TEST(TeskPacketRead, MakesARawPacketAnOrdinaryOne) {
    TeskPacket packet;
    packet.set_raw();
    packet.set_body("raw");
    readInto(packet, "123~001A~210315~XN42~00~OK");
    packet.set_body("456");
    EXPECT_EQ("123~000C~456", written(packet));
}

TEST(TeskPacketRead, TellsWhatLiesBeyondTheLength) {
    TeskPacket packet;
    readInto(packet, "123~001A~210315~XA42~00~OK");
    EXPECT_EQ("", packet.get_surplus());
    readInto(packet, "123~0019~210315~XA42~00~OK and more");
    EXPECT_EQ("K and more", packet.get_surplus());
    EXPECT_EQ("OK and more", packet.get_body());
    readInto(packet, "123~0018~210315~XN42~00~" + std::string(268, 't'));
    EXPECT_EQ(std::string(268, 't'), packet.get_surplus());
    readInto(packet, "123~0017~210315~XA42~00");
    EXPECT_EQ("", packet.get_surplus());
}

struct Asked {
    const char* body;
    std::optional<int> id;
};

TEST(TeskPacketAskedId, IsThatOfTheHeaderThatARawBodyBeginsWith) {
    const Asked cases[] = {
        {"120~0008", 120},           {"120~000c~7", 120},       {"007~0008", 7},
        {"120~0008x", std::nullopt}, {"120~008", std::nullopt}, {"0120~0008~x", std::nullopt},
        {"7~0008~x", std::nullopt},  {"120", std::nullopt},     {"~0008", std::nullopt},
        {"12x~0008", std::nullopt},  {"", std::nullopt}};
    for (const Asked& asked : cases) {
        TeskPacket packet;
        packet.set_id(113);
        EXPECT_EQ(113, packet.get_asked_id());
        packet.set_raw();
        packet.set_body(asked.body);
        EXPECT_EQ(asked.id, packet.get_asked_id()) << asked.body;
    }
}

TEST(TeskPacketTake, IsLikeReading) {
    for (const std::string& answer : {std::string("123~001A~210315~XN42~00~OK"),
                                      "123~0124~210315~XN42~00~" + std::string(268, 't'),
                                      std::string("1~0010~~XA~00~bo and more")}) {
        TeskPacket read;
        TeskPacket taken;
        TeskPacket other;
        taken.set_raw();
        readInto(read, answer);
        readInto(other, answer);
        taken.take_answer(other);
        EXPECT_EQ(read.to_string(), taken.to_string());
        EXPECT_EQ(read.has_trailer(), taken.has_trailer());
        EXPECT_EQ(read.get_surplus(), taken.get_surplus());
        taken.set_body("456");
        EXPECT_EQ("~456", taken.get_body());  // raw no more
    }
}

TEST(TeskPacketTake, KeepsTheTrailerOfAnEarlierAnswer) {
    TeskPacket packet;
    TeskPacket other;
    readInto(packet, "123~0124~210315~XN42~00~" + std::string(268, 't'));
    readInto(other, "123~001A~210315~XN42~00~OK");
    packet.take_answer(other);
    EXPECT_TRUE(packet.has_trailer());
    EXPECT_TRUE(packet.to_string().ends_with("~OK" + std::string(268, 't')));
}

TEST(TeskPacketText, IsTheAnswerAsItCame) {
    for (const std::string answer : {"123~001A~210315~XN42~00~OK", "123~0017~210315~XN42~00",
                                     "1~0012~~XA~00~body", "12345~001C~210315~XA42~01~OK"}) {
        TeskPacket packet;
        readInto(packet, answer);
        EXPECT_EQ(answer, packet.to_string());
    }
}

TEST(TeskPacketText, HasTheTrailerAtItsEnd) {
    TeskPacket packet;
    const std::string answer =
        "123~0144~210315~XP42~00~" + std::string(32, 'b') + std::string(268, 't');
    readInto(packet, answer);
    EXPECT_EQ(answer, packet.to_string());
}

TEST(TeskPacketText, MeasuresItself) {
    TeskPacket packet;
    readInto(packet, "123~0000~210315~XN42~00");
    EXPECT_EQ("123~0017~210315~XN42~00", packet.to_string());
    packet.set_body("~OK");
    EXPECT_EQ("123~001A~210315~XN42~00~OK", packet.to_string());
}

TEST(TeskPacketText, HasEveryByteOfAnIdThatItCounts) {
    const std::string answer("1\0003~001A~210315~XN42~00~OK", 26);
    TeskPacket packet;
    readInto(packet, answer);
    EXPECT_EQ(answer, packet.to_string());
}

TEST(TeskPacketText, CountsATrailerWithoutABodyBehindTheOutcome) {
    TeskPacket packet;
    readInto(packet, "123~0124~210315~XN42~00~" + std::string(268, 't'));
    EXPECT_EQ("123~0123~210315~XN42~00" + std::string(268, 't'), packet.to_string());
}

}  // namespace
}  // namespace teskd::test
