#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "dorn/DornBody.h"
#include "net/MemoryInputStream.h"
#include "support/Bytes.h"
#include "tesk/TeskPacket.h"

namespace teskd::test {
namespace {

// Shows each value between brackets, so that the cutting can be seen.
void bracketed(std::string& body, std::string_view value) {
    body += "[" + std::string(value) + "]";
}

std::string pairs(std::size_t count) {
    std::string payload;
    for (std::size_t i = 0; i < count; ++i) payload += (i == 0 ? "" : "~") + std::string("N~V");
    return payload;
}

std::size_t entriesOf(const dornbody::Pages& pages, std::size_t page) {
    return static_cast<unsigned char>(pages.entries(page).at(0));
}

TEST(DornBodyOutcome, TextsHaveTheirNumbers) {
    const char* const texts[] = {"00", "1A", "1B", "1C", "1D", "1E", "1F", "1G", "1H", "FF"};
    for (int number = 0; number < 10; ++number) {
        EXPECT_EQ(number, dornbody::outcome_number(texts[number])) << texts[number];
    }
}

TEST(DornBodyOutcome, AnUnknownTextReadsAsZero) {
    for (const char* text : {"", "1", "1I", "1a", "ff", "01", "001", "1A "}) {
        EXPECT_EQ(0, dornbody::outcome_number(text)) << text;
    }
}

TEST(DornBodyName, FillsElevenBytesWithZeroOrIsCut) {
    EXPECT_BYTES("ZA1" + bytes("00 00 00 00 00 00 00 00"), dornbody::name_field("ZA1"));
    EXPECT_BYTES("ZA000000001", dornbody::name_field("ZA000000001"));
    EXPECT_BYTES("ZA000000001", dornbody::name_field("ZA0000000012"));
}

TEST(DornBodyName, IsReadUpToItsFirstZeroByteOrTheEndOfItsField) {
    EXPECT_EQ("ZA1", dornbody::name_at("--ZA1" + bytes("00") + "rest", 2));
    EXPECT_EQ("ZA000000001", dornbody::name_at("--ZA0000000012", 2));
    EXPECT_EQ("", dornbody::name_at(bytes("00") + "ZA1", 0));
}

TEST(DornBodyName, MayBeCutByTheEndOfTheBody) {
    EXPECT_EQ("ZA1", dornbody::name_at("--ZA1", 2));
    EXPECT_EQ("", dornbody::name_at("--", 2));
    EXPECT_THROW(dornbody::name_at("-", 2), std::out_of_range);
}

TEST(DornBodyHead, IsTheDateTheCountsOneTheAnswersDateAndTheOutcome) {
    const std::string text = "113~001C~15.03.21~ZA00000001~1F";
    MemoryInputStream in(text);
    TeskPacket answer;
    answer.read(in);
    EXPECT_BYTES("01.02.03" + bytes("03 02 01") + "15.03.21" + bytes("00 00 00 06"),
                 dornbody::head(answer, "01.02.03", 3, 2));
}

TEST(DornBodyHead, KeepsTheLowEightBitsOfTheCounts) {
    EXPECT_BYTES("01.02.03" + bytes("01 FF 01  00 00 00 00 00 00 00 00 00 00 00  09"),
                 dornbody::head(TeskPacket(), "01.02.03", 0x101, 0x1FF));
}

TEST(DornBodyPages, AnEmptyPayloadIsOnePageWithoutEntries) {
    const dornbody::Pages pages("", bracketed);
    EXPECT_EQ(1U, pages.count());
    EXPECT_BYTES(bytes("00"), pages.entries(0));
}

TEST(DornBodyPages, AnEntryIsANameACountAndItsValues) {
    const dornbody::Pages pages("CNTTOTIN~a!b!c", bracketed);
    EXPECT_EQ(1U, pages.count());
    EXPECT_BYTES(bytes("01") + "CNTTOTIN" + bytes("00 03") + "[a][b][c]", pages.entries(0));
}

TEST(DornBodyPages, ShortNamesAreFilledAndLongOnesCut) {
    const dornbody::Pages pages("AB~x~ABCDEFGHIJ~y", bracketed);
    EXPECT_BYTES(bytes("02") + "AB" + bytes("00 00 00 00 00 00  00 01") + "[x]" + "ABCDEFGH" +
                     bytes("00 01") + "[y]",
                 pages.entries(0));
}

TEST(DornBodyPages, AnEmptyValueListHasNoValues) {
    const dornbody::Pages pages("CNTTOTIN~", bracketed);
    EXPECT_BYTES(bytes("01") + "CNTTOTIN" + bytes("00 00"), pages.entries(0));
}

TEST(DornBodyPages, AnOddLastItemIsNoEntry) {
    EXPECT_BYTES(bytes("00"), dornbody::Pages("ALONE", bracketed).entries(0));
    EXPECT_BYTES(bytes("01") + "CNTTOTIN" + bytes("00 01") + "[x]",
                 dornbody::Pages("CNTTOTIN~x~ALONE", bracketed).entries(0));
}

TEST(DornBodyPages, TwoHundredAndFiftyFourEntriesFitOnePage) {
    const std::string payload = pairs(254);
    const dornbody::Pages pages(payload, bracketed);
    EXPECT_EQ(1U, pages.count());
    EXPECT_EQ(254U, entriesOf(pages, 0));
}

TEST(DornBodyPages, AFullPageIsFollowedByAnEmptyOne) {
    const std::string payload = pairs(255);
    const dornbody::Pages pages(payload, bracketed);
    ASSERT_EQ(2U, pages.count());
    EXPECT_EQ(255U, entriesOf(pages, 0));
    EXPECT_BYTES(bytes("00"), pages.entries(1));
}

TEST(DornBodyPages, AnOddItemBehindAFullPageIsOnTheNextAsNoEntry) {
    const std::string payload = pairs(255) + "~ALONE";
    const dornbody::Pages pages(payload, bracketed);
    ASSERT_EQ(2U, pages.count());
    EXPECT_EQ(255U, entriesOf(pages, 0));
    EXPECT_BYTES(bytes("00"), pages.entries(1));
}

TEST(DornBodyPages, SixHundredEntriesTakeThreePages) {
    const std::string payload = pairs(600);
    const dornbody::Pages pages(payload, bracketed);
    ASSERT_EQ(3U, pages.count());
    EXPECT_EQ(255U, entriesOf(pages, 0));
    EXPECT_EQ(255U, entriesOf(pages, 1));
    EXPECT_EQ(90U, entriesOf(pages, 2));
}

TEST(DornBodyPages, MoreValuesThanTheCountCanHoldAreLeftOut) {
    const std::string payload = "CNTTOTIN~" + std::string(70000, '!');
    const dornbody::Pages pages(payload, bracketed);
    EXPECT_BYTES(bytes("01") + "CNTTOTIN" + bytes("FF FF"), pages.entries(0).substr(0, 11));
    EXPECT_EQ(11U + 2U * 65535U, pages.entries(0).size());
}

}  // namespace
}  // namespace teskd::test
