// Requests, answers and notifications of every type and code, field by field.

#include <gtest/gtest.h>

#include "wireshark/Samples.h"
#include "wireshark/Tshark.h"

namespace teskd::test {
namespace {

TEST(DissectedBody, ShowsEveryFieldOfEveryTypeAndCode) {
    CaptureFile capture;
    for (const Sample& sample : samples()) sample.send(capture, sample.frame().encode());

    const Shown shown = tshark(capture, bodyFields());

    ASSERT_EQ(samples().size(), shown.packets());
    std::size_t packet = 0;
    for (const Sample& sample : samples()) {
        EXPECT_EQ(sample.shown, shown.line(++packet)) << sample.name;
    }
}

}  // namespace
}  // namespace teskd::test
