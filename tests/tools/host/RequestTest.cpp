#include <gtest/gtest.h>

#include "host/Request.h"
#include "support/Bytes.h"

namespace {

using teskd::test::bytes;
using teskhost::Request;

const std::string kName = "ZA01" + std::string(7, '\0');
const std::string kNoName(11, '\0');

TEST(RequestBytes, BodiesOfTheEightTypes) {
    EXPECT_BYTES(bytes("01") + kName, Request::counters("ZA01").body);
    EXPECT_BYTES(bytes("00") + kNoName, Request::counters("").body);
    EXPECT_BYTES("01.03.26B" + std::string(7, '\0') + kName,
                 Request::list("01.03.26", "B", "ZA01").body);
    EXPECT_BYTES(bytes("00 05 01 00") + kName, Request::list(5, 256, "ZA01").body);
    EXPECT_BYTES("AAAAAAAABBBBBBBB" + bytes("01") + kName,
                 Request::times("AAAAAAAA", "BBBBBBBB", "ZA01").body);
    EXPECT_BYTES(bytes("00") + kNoName + bytes("76"), Request::value(118, "").body);
    EXPECT_BYTES(kName + bytes("00 00 00 00") + "113~0008",
                 Request::message("113~0008", "ZA01").body);
    EXPECT_BYTES("", Request::version().body);
    EXPECT_BYTES("", Request::machines().body);
}

TEST(RequestBytes, BodyOfAnAamsRequest) {
    EXPECT_EQ(0xFE, Request::aams(506, "5!1!0!2").type);
    EXPECT_BYTES(bytes("00 00 00 10") + "506-0010-5!1!0!2", Request::aams(506, "5!1!0!2").body);
}

}  // namespace
