#include <numeric>

#include "fake_platform.h"
#include "orvi_ai_srv.h"

namespace {

class Minutes : public PlatformTest {};

TEST_F(Minutes, TheStartCarriesTheClientAndTheConference) {
    Init();
    tagOrviAiMinutesConfInfo conference;
    std::iota(std::begin(conference.conference), std::end(conference.conference), uint8_t{1});
    platform.QueueReply({0});
    EXPECT_EQ(OrviAiSrvSignatureStart(conference), 0);
    EXPECT_EQ(platform.LastPayload(), BytesOf(OWN_ADDRESS) + BytesOf(conference));

    // After the two names of the address.
    (void)platform.Take();
    platform.FailCopy(3);
    EXPECT_EQ(OrviAiSrvSignatureStart(conference), -1);
    platform.FailCopy(4);
    EXPECT_EQ(OrviAiSrvSignatureStart(conference), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{"error <AiSrvMinutesStart> memcpy_s failed: err1:34, err2:0",
                                                 "error <AiSrvMinutesStart> memcpy_s failed: err1:0, err2:34"}));
}

}  // namespace
