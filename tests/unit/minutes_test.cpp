#include "fake_platform.h"
#include "orvi_ai_srv.h"

namespace {

class Minutes : public PlatformTest {};

TEST_F(Minutes, ACopyThatFailsIsToldByItsNumber) {
    Init();
    // After the two names of the address.
    platform.FailCopy(3);
    EXPECT_EQ(OrviAiSrvSignatureStart({}), -1);
    platform.FailCopy(4);
    EXPECT_EQ(OrviAiSrvSignatureStart({}), -1);
    EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{"error <AiSrvMinutesStart> memcpy_s failed: err1:34, err2:0",
                                                 "error <AiSrvMinutesStart> memcpy_s failed: err1:0, err2:34"}));
}

}  // namespace
