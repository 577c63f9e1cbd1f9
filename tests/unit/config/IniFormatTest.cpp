#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "config/IniFormat.h"

namespace teskd::test {
namespace {

using Map = IniFormat::Map;

struct Parsed {
    Map map;
    std::vector<unsigned> errors;  // line numbers
};

Parsed parse(std::string_view text, Map before = {}) {
    Parsed result{std::move(before), {}};
    IniFormat::parse(text, result.map, [&](unsigned line) { result.errors.push_back(line); });
    return result;
}

TEST(IniFormatParse, StoresAPairUnderItsSection) {
    EXPECT_EQ((Map{{"[SECTION] KEY", "value"}}), parse("[SECTION]\nKEY = value\n").map);
}

TEST(IniFormatParse, APairBeforeAnyHeaderIsInternal) {
    EXPECT_EQ((Map{{"[INTERNAL] KEY", "value"}}), parse("KEY=value").map);
}

TEST(IniFormatParse, EveryTextStartsInTheInternalSection) {
    const Map first = parse("[A]\nX=1\n").map;
    EXPECT_EQ((Map{{"[A] X", "1"}, {"[INTERNAL] X", "2"}}), parse("X=2", first).map);
}

TEST(IniFormatParse, AnEmptyTextHasNoPairs) {
    EXPECT_EQ(Map{}, parse("").map);
    EXPECT_EQ(Map{}, parse("\n\n\n").map);
}

TEST(IniFormatParse, TheLastLineNeedsNoEnd) {
    EXPECT_EQ((Map{{"[A] X", "1"}, {"[A] Y", "2"}}), parse("[A]\nX=1\nY=2").map);
}

TEST(IniFormatParse, BlanksAndTabsAroundNamesAndValuesAreDropped) {
    EXPECT_EQ((Map{{"[A] two words", "a  b"}}), parse("[A]\n \t two words\t= \ta  b \t\n").map);
}

TEST(IniFormatParse, ANameOrAValueAloneStoresNothing) {
    EXPECT_EQ(Map{}, parse("KEY=\n").map);
    EXPECT_EQ(Map{}, parse("=value\n").map);
    EXPECT_EQ(Map{}, parse("KEY\n").map);
    EXPECT_EQ(Map{}, parse("=\n==\n").map);
}

bool isList(const std::string& key) {
    return key == "[A] LIST";
}

Map parseWithList(std::string_view text, Map before = {}) {
    IniFormat::parse(
        text, before, [](unsigned) {}, isList);
    return before;
}

TEST(IniFormatParse, ANameThatMayBeEmptyIsStoredWithoutAValue) {
    const Map empty{{"[A] LIST", ""}};
    for (const char* text : {"[A]\nLIST=\n", "[A]\n LIST = ", "[A]\nLIST==", "[A]\nLIST=\t"}) {
        EXPECT_EQ(empty, parseWithList(text)) << text;
        EXPECT_EQ(empty, parseWithList(text, {{"[A] LIST", "1"}})) << text;
    }
    EXPECT_EQ(empty, parseWithList("[A]\nLIST=[B]"));
    EXPECT_EQ((Map{{"[A] LIST", "1"}}), parseWithList("[A]\nLIST=1\n"));
    EXPECT_EQ((Map{{"[A] LIST", "1"}}), parseWithList("[A]\nLIST=1=\n"));
}

TEST(IniFormatParse, ANameThatMayBeEmptyStillNeedsItsEqualsSign) {
    for (const char* text : {"[A]\nLIST\n", "[A]\n=LIST", "LIST=", "[A]\nLIST 1\n"}) {
        EXPECT_EQ(Map{}, parseWithList(text)) << text;
    }
    EXPECT_EQ(Map{}, parseWithList("[A]\nOTHER=\n"));
}

TEST(IniFormatParse, APendingNameEndsWithItsLine) {
    EXPECT_EQ((Map{{"[INTERNAL] B", "2"}}), parse("A\nB=2\n").map);
    EXPECT_EQ(Map{}, parse("A=\n=1\n").map);
}

TEST(IniFormatParse, ABlankValueIsStoredAsEmpty) {
    EXPECT_EQ((Map{{"[INTERNAL] KEY", ""}}), parse("KEY= \n").map);
}

TEST(IniFormatParse, TheSecondTokenIsTheValueAndAThirdIsDiscarded) {
    EXPECT_EQ((Map{{"[INTERNAL] A", "B"}}), parse("A=B=C\n").map);
}

TEST(IniFormatParse, AFourthTokenMakesASecondPair) {
    EXPECT_EQ((Map{{"[INTERNAL] A", "B"}, {"[INTERNAL] C", "D"}}), parse("A=B=C=D\n").map);
}

TEST(IniFormatParse, RepeatedEqualSignsCountAsOne) {
    EXPECT_EQ((Map{{"[INTERNAL] A", "B"}}), parse("A==B\n").map);
    EXPECT_EQ((Map{{"[INTERNAL] A", "B"}}), parse("=A=B=\n").map);
}

TEST(IniFormatParse, AValueInBracketsIsAHeader) {
    EXPECT_EQ((Map{{"[OTHER] B", "1"}}), parse("KEY=[OTHER]\nB=1\n").map);
}

TEST(IniFormatParse, AHeaderInAPairLeavesTheNamePending) {
    EXPECT_EQ((Map{{"[OTHER] KEY", "1"}}), parse("KEY=[OTHER]=1\n").map);
}

TEST(IniFormatParse, AHeaderMayShareItsLineWithAPair) {
    EXPECT_EQ((Map{{"[A] X", "1"}}), parse("[A]=X=1\n").map);
}

TEST(IniFormatParse, AHeaderIsTakenExactlyAsWritten) {
    EXPECT_EQ((Map{{"[ a\tB ] X", "1"}, {"[] Y", "2"}}), parse("[ a\tB ]\nX=1\n[]\nY=2\n").map);
}

TEST(IniFormatParse, ABlankBeforeAHeaderMakesItAName) {
    const Parsed parsed = parse(" [A]\nX=1\n [B]=2\n");
    EXPECT_EQ((Map{{"[INTERNAL] X", "1"}, {"[INTERNAL] [B]", "2"}}), parsed.map);
    EXPECT_EQ(std::vector<unsigned>{}, parsed.errors);
}

TEST(IniFormatParse, AHeaderWithoutItsEndIsAnErrorAndChangesNothing) {
    const Parsed parsed = parse("[A]\n[B\nX=1\n[C] \nY=2\n[\n");
    EXPECT_EQ((Map{{"[A] X", "1"}, {"[A] Y", "2"}}), parsed.map);
    EXPECT_EQ((std::vector<unsigned>{2, 4, 6}), parsed.errors);
}

TEST(IniFormatParse, LinesAreNumberedWithoutTheEmptyOnes) {
    EXPECT_EQ((std::vector<unsigned>{1, 3}), parse("\n\n[A\n\nX=1\n\n\n[B\n").errors);
}

TEST(IniFormatParse, ALineOfBlanksCounts) {
    EXPECT_EQ((std::vector<unsigned>{2}), parse(" \n[A\n").errors);
}

TEST(IniFormatParse, CarriageReturnsStayAndSpoilHeaders) {
    const Parsed parsed = parse("[A]\r\nX=1\r\n\r\n[B]\r\n");
    EXPECT_EQ((Map{{"[INTERNAL] X", "1\r"}}), parsed.map);
    EXPECT_EQ((std::vector<unsigned>{1, 4}), parsed.errors);
}

TEST(IniFormatParse, ThereAreNoComments) {
    EXPECT_EQ((Map{{"[INTERNAL] # A", "1"}, {"[INTERNAL] ; B", "2"}}),
              parse("# just words\n# A=1\n; B=2\n").map);
}

TEST(IniFormatParse, KeysAreCaseSensitive) {
    EXPECT_EQ((Map{{"[A] x", "1"}, {"[A] X", "2"}, {"[a] x", "3"}}),
              parse("[A]\nx=1\nX=2\n[a]\nx=3\n").map);
}

TEST(IniFormatParse, ALaterPairOverwritesAnEarlierOne) {
    EXPECT_EQ((Map{{"[A] X", "2"}}), parse("[A]\nX=1\nX=2\n").map);
    EXPECT_EQ((Map{{"[A] X", "2"}, {"[A] Y", "0"}}),
              parse("[A]\nX=2\n", {{"[A] X", "1"}, {"[A] Y", "0"}}).map);
}

TEST(IniFormatParse, AnyBytesAreTakenAsTheyAre) {
    using namespace std::string_literals;
    EXPECT_EQ((Map{{"[INTERNAL] \xff\0k"s, "\x80\0v"s}}), parse("\xff\0k=\x80\0v\n"s).map);
}

TEST(IniFormatFormat, WritesSectionsWithAnEmptyLineBeforeEachAndOneAtTheEnd) {
    const Map map{{"[B] Y", "2"}, {"[A] X", "1"}, {"[A] W", "a b"}};
    EXPECT_EQ(
        "\n[A]\n"
        "\t W=a b\n"
        "\t X=1\n"
        "\n[B]\n"
        "\t Y=2\n"
        "\n",
        IniFormat::format(map));
}

TEST(IniFormatFormat, AnEmptyMapIsOneEmptyLine) {
    EXPECT_EQ("\n", IniFormat::format({}));
}

TEST(IniFormatFormat, AKeyWithoutSectionIsWrittenWhole) {
    EXPECT_EQ("\tbare=1\n\n", IniFormat::format({{"bare", "1"}}));
    EXPECT_EQ("\n[A]\n\t X=1\n\tbare=2\n\n", IniFormat::format({{"[A] X", "1"}, {"bare", "2"}}));
}

TEST(IniFormatFormat, TheSectionEndsAtTheFirstBracket) {
    EXPECT_EQ("\n[A]\n\t X]=1\n\n", IniFormat::format({{"[A] X]", "1"}}));
}

TEST(IniFormatFormat, TheNameIsWhatFollowsTheSection) {
    EXPECT_EQ("\n[A]\n\t X=1\n\tX=2\n\n", IniFormat::format({{"[A] X", "1"}, {"[A]X", "2"}}));
}

TEST(IniFormatFormat, AKeyMayBeginWithTheSectionNobodyNamed) {
    EXPECT_EQ("\t X=1\n\n", IniFormat::format({{"NO_SECTION X", "1"}}));
}

TEST(IniFormat, WhatIsWrittenReadsBackTheSame) {
    const Map map{{"[A] X", "1"}, {"[A] Y", "two words"}, {"[B C] Z", "http://h:1/"}};
    EXPECT_EQ(map, parse(IniFormat::format(map)).map);
}

}  // namespace
}  // namespace teskd::test
