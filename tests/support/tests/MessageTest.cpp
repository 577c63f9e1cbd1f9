#include <gtest/gtest.h>

#include "tesksim/AnswerTable.h"
#include "tesksim/Message.h"

namespace tesksim {
namespace {

TEST(Message, ARequestWithoutPayloadHasEightBytes) {
    MessageParser parser;
    parser.feed("113~0008");
    const auto message = parser.next();
    ASSERT_TRUE(message.has_value());
    EXPECT_EQ(113, message->id);
    EXPECT_EQ("", message->payload);
    EXPECT_EQ("113~0008", message->raw);
    EXPECT_FALSE(parser.next().has_value());
}

TEST(Message, AnAcknowledgementIsRecognised) {
    MessageParser parser;
    parser.feed("150~000C~456113~0008");
    const auto message = parser.next();
    ASSERT_TRUE(message.has_value());
    EXPECT_TRUE(message->isAcknowledgement());
    EXPECT_EQ("456", message->payload);
    ASSERT_TRUE(parser.next().has_value());
    EXPECT_EQ("", parser.junk());
}

TEST(Message, IsFoundWhereverTheStreamIsCut) {
    const std::string text = "115~001A~ABCDEFGH~01234567";
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        MessageParser parser;
        parser.feed(text.substr(0, cut));
        if (cut < text.size()) {
            EXPECT_FALSE(parser.next().has_value()) << cut;
        }
        parser.feed(text.substr(cut));
        const auto message = parser.next();
        ASSERT_TRUE(message.has_value()) << cut;
        EXPECT_EQ("ABCDEFGH~01234567", message->payload);
    }
}

TEST(Message, ShortIdsAreFilledUpWithZeroBytes) {
    MessageParser parser;
    parser.feed(std::string("99~0008\0", 8) + std::string("0~000B\0\0~AB", 11));
    const auto two = parser.next();
    ASSERT_TRUE(two.has_value());
    EXPECT_EQ(99, two->id);
    const auto one = parser.next();
    ASSERT_TRUE(one.has_value());
    EXPECT_EQ(0, one->id);
    EXPECT_EQ("AB", one->payload);
}

TEST(Message, AShortIdFilledUpWithAnythingElseIsNone) {
    MessageParser parser;
    parser.feed("99~0008x 0~0008x ");
    EXPECT_FALSE(parser.next().has_value());
    EXPECT_EQ("99~0008x 0~0008x ", parser.junk());
}

TEST(Message, OtherBytesAreSkippedAndKept) {
    MessageParser parser;
    parser.feed("hello 1~ 113~0007 113~00ag 113~0008");
    const auto message = parser.next();
    ASSERT_TRUE(message.has_value());
    EXPECT_EQ(113, message->id);
    EXPECT_EQ("hello 1~ 113~0007 113~00ag ", parser.junk());
}

TEST(MessageAnswer, ItsLengthCountsEveryByte) {
    Answer answer{.id = 123, .date = "210315", .codeId = "XN42", .outcome = "00", .body = "OK"};
    EXPECT_EQ("123~001A~210315~XN42~00~OK", encode(answer));
    EXPECT_EQ("123~001B~210315~XN42~00~OK", encode(answer, 1));
    EXPECT_EQ("123~0000~210315~XN42~00~OK", encode(answer, -26));
    answer.body.clear();
    EXPECT_EQ("123~0017~210315~XN42~00", encode(answer));
}

TEST(MessageAnswer, TheTrailerFollowsTheBody) {
    const std::string trailer(268, 't');
    const Answer answer{.id = 7, .date = "D", .codeId = "XP1", .outcome = "00", .trailer = trailer};
    EXPECT_EQ("7~011C~D~XP1~00~" + trailer, encode(answer));
    EXPECT_EQ(0x11CU, encode(answer).size());
}

TEST(MessageAnswerTable, FillsInRequestIdAndCodeId) {
    AnswerTable table;
    const Message request{113, "", ""};
    EXPECT_EQ("113~002F~15.03.21~ZA1~00~100~200~1~100~200~0", table.answerTo(request, "ZA1", 3));
    table.setBody(113, "B");
    EXPECT_EQ("113~001A~15.03.21~ZA1~00~B", table.answerTo(request, "ZA1", 0));
    table.reset(113);
    EXPECT_NE("113~001A~15.03.21~ZA1~00~B", table.answerTo(request, "ZA1", 0));
}

TEST(MessageAnswerTable, TakesLiteralsAndCallbacks) {
    AnswerTable table;
    table.setLiteral(5, "anything");
    table.setCallback(
        6, [](const Message& request) { return Answer{.id = 99, .body = request.payload}; });
    EXPECT_EQ("anything", table.answerTo({5, "", ""}, "C", 0));
    EXPECT_EQ("99~001A~15.03.21~C~00~echo", table.answerTo({6, "echo", ""}, "C", 0));
}

}  // namespace
}  // namespace tesksim
