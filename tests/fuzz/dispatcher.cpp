// Any message of the bus, on the library's message thread.
#include "library.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FakePlatform& platform = orvi_fuzz::Platform();
    orvi_fuzz::Input input(data, size);
    while (input.Left() != 0) {
        TagMsgBlock block{};
        // Half of the ids are ones that mean something.
        const uint8_t choice = input.Byte();
        block.msgId = (choice & 1) != 0 ? 0x600000U + input.Byte() : input.Number<uint32_t>();
        block.senderUid = (choice & 2) != 0 ? platform.uid : input.Number<uint32_t>();
        const auto name = input.Take((choice & 4) != 0 ? sizeof(block.procName) : 0);
        std::copy_n(name.bytes.get(), name.size, block.procName);
        const auto payload = input.Take((choice & 8) != 0 ? input.Number<uint16_t>() : choice >> 4);
        block.data = payload.size == 0 ? nullptr : payload.bytes.get();
        block.dataLen = static_cast<uint32_t>(payload.size);
        platform.given = block.data;
        (void)OrviAiService::AiSrvServiceProxy::AiVisionProxyMsgHandler(&block);
        (void)platform.Take();
        platform.ForgetReplies();
        orvi_fuzz::Require(platform.LiveReplies() == 0, "replies are released");
    }
    return 0;
}
