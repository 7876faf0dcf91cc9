// Any reply to any request.
#include "library.h"
#include "requests.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FakePlatform& platform = orvi_fuzz::Platform();
    orvi_fuzz::Input input(data, size);
    while (input.Left() != 0) {
        const Request& request = REQUESTS[input.Byte() % REQUESTS.size()];
        const uint8_t choice = input.Byte();
        const auto reply = input.Take(choice < 250 ? choice : input.Number<uint16_t>());
        if (choice == 249) {
            platform.QueueReplyWithoutData(input.Number<uint32_t>());
        } else {
            platform.QueueReply(Bytes(reply.bytes.get(), reply.bytes.get() + reply.size));
        }
        const int result = request.call();
        const bool mustFail = request.answer == VERDICT && (reply.size == 0 || reply.bytes[0] != 0) && choice != 249 &&
                              request.channel.waitMs != ONE_WAY;
        orvi_fuzz::Require(!mustFail || result != 0, "what is refused fails");
        (void)platform.Take();
        platform.ForgetReplies();
        orvi_fuzz::Require(platform.LiveReplies() == 0, "replies are released");
    }
    return 0;
}
