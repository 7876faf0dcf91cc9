// Signature and minutes of a conference.
#include "client_log.h"
#include "message_ids.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_channels.h"
#include "orvi_securec.h"
#include "reply_block.h"

namespace OrviAiService {
namespace {

// Sends a minutes request; every refusal is a failure, the service's own number is not passed on.
int SendMinutesRequest(AiSrvServiceProxy& proxy, uint32_t msgId, uint8_t* data, uint32_t len, const char* method) {
    TagMsgBlock* received = nullptr;
    if (proxy.SendSynMsgToVision(msgId, data, len, WAIT_REPLY, &received) != 0) {
        ORVI_LOG_ERROR("<%s> call SendSynMsgToVision failed.", method);
        return -1;
    }
    const ReplyPtr reply(received);
    if (Verdict(*reply) != 0) {
        ORVI_LOG_ERROR("<%s> failed: response ret is error.", method);
        return -1;
    }
    return 0;
}

}  // namespace

int AiSrvServiceProxy::AiSrvMinutesStart(tagOrviAiMinutesConfInfo& confInfo) {
    ORVI_LOG_INFO("<AiSrvMinutesStart> enter AiSrvMinutesStart");
    if (!isInited.load()) {
        ORVI_LOG_ERROR("<AiSrvMinutesStart> ai srv has not inited.");
        return -1;
    }
    tagAiTaskBasicInfo info;
    if (SetStAiTaskBasicInfo(info) != 0) {
        ORVI_LOG_ERROR("<AiSrvMinutesStart> failed: call SetStAiTaskBasicInfo failed.");
        return -1;
    }
    MinutesStartRequest request;
    (void)memset_s(&request, sizeof(request), 0, sizeof(request));
    const int err1 = memcpy_s(&request, sizeof(request), &info, sizeof(info));
    const int err2 = memcpy_s(&request.confInfo, sizeof(request.confInfo), &confInfo, sizeof(confInfo));
    if (err1 != 0 || err2 != 0) {
        ORVI_LOG_ERROR("<AiSrvMinutesStart> memcpy_s failed: err1:%u, err2:%u", static_cast<uint32_t>(err1),
                       static_cast<uint32_t>(err2));
        return -1;
    }
    return SendMinutesRequest(*this, AI_MSG_MINUTES_START, reinterpret_cast<uint8_t*>(&request), sizeof(request),
                              "AiSrvMinutesStart");
}

int AiSrvServiceProxy::AiSrvMinutesStop() {
    ORVI_LOG_INFO("<AiSrvMinutesStop> enter AiSrvMinutesStop");
    if (!isInited.load()) {
        ORVI_LOG_ERROR("<AiSrvMinutesStop> ai srv has not inited.");
        return -1;
    }
    return SendMinutesRequest(*this, AI_MSG_MINUTES_STOP, nullptr, 0, "AiSrvMinutesStop");
}

}  // namespace OrviAiService
