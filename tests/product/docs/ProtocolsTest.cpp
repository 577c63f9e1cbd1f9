// The page about the protocols shows bytes that the daemon really reads and writes.

#include <gtest/gtest.h>
#include <set>

#include "docs/AnnotatedBytes.h"
#include "docs/Page.h"
#include "docs/PageDialogue.h"
#include "host/AamsContent.h"
#include "host/Frame.h"

namespace teskd::test {
namespace {

using teskhost::AamsContent;
using teskhost::AamsMessage;

std::vector<AnnotatedBytes> framesOf(const Page& page) {
    std::vector<AnnotatedBytes> frames;
    for (const Page::Block& block : page.blocks("hex")) {
        const AnnotatedBytes parsed = AnnotatedBytes::parse(block.lines);
        if (parsed.from != "machine" && parsed.to != "machine") frames.push_back(parsed);
    }
    return frames;
}

TEST(ProtocolsPage, IsADialogueThatTheDaemonHolds) {
    const Page page("docs/protocols.md");
    ASSERT_EQ(1U, page.blocks("ini").size());
    PageDialogue dialogue(joined(page.blocks("ini").front().lines));
    for (const Page::Block& block : page.blocks("hex")) {
        SCOPED_TRACE(page.place(block));
        dialogue.play(AnnotatedBytes::parse(block.lines));
        if (HasFailure()) break;
    }
    EXPECT_CLEAN_STOP(dialogue.daemon());
}

TEST(ProtocolsPage, ShowsWholeFramesThatHostsCanDecode) {
    const std::vector<AnnotatedBytes> frames = framesOf(Page("docs/protocols.md"));
    ASSERT_LT(40U, frames.size());
    for (const AnnotatedBytes& shown : frames) {
        const teskhost::Frame frame = teskhost::Frame::decode(shown.bytes);
        if (frame.type != teskhost::Frame::kAamsType || frame.body.empty()) continue;
        const AamsMessage message = AamsMessage::decode(frame.body);
        if (shown.from != "gateway") continue;
        EXPECT_NE("", AamsContent::decode(message).value("MAC address")) << message.body();
    }
}

TEST(ProtocolsPage, HasEveryRequestAndEveryNotification) {
    std::set<int> types;
    std::set<int> codes;
    for (const AnnotatedBytes& shown : framesOf(Page("docs/protocols.md"))) {
        const teskhost::Frame frame = teskhost::Frame::decode(shown.bytes);
        types.insert(frame.type);
        if (frame.type != teskhost::Frame::kAamsType || frame.body.empty()) continue;
        codes.insert(AamsMessage::decode(frame.body).code());
    }
    EXPECT_EQ((std::set<int>{1, 2, 3, 4, 5, 6, 7, 8, teskhost::Frame::kAamsType}), types);
    EXPECT_EQ((std::set<int>{1, 2, 3, 4, 5, 501, 502, 503, 504, 505, 506, 507}), codes);
}

}  // namespace
}  // namespace teskd::test
