// Signature and minutes of a conference.
#include "client_log.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_securec.h"
#include "request_rows.h"

namespace OrviAiService {
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
    return Transact(
        Requests::MINUTES_START, &request,
        [] { ORVI_LOG_ERROR("<AiSrvMinutesStart> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<AiSrvMinutesStart> failed: response ret is error."); });
}

int AiSrvServiceProxy::AiSrvMinutesStop() {
    ORVI_LOG_INFO("<AiSrvMinutesStop> enter AiSrvMinutesStop");
    if (!isInited.load()) {
        ORVI_LOG_ERROR("<AiSrvMinutesStop> ai srv has not inited.");
        return -1;
    }
    return Transact(
        Requests::MINUTES_STOP, nullptr, [] { ORVI_LOG_ERROR("<AiSrvMinutesStop> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<AiSrvMinutesStop> failed: response ret is error."); });
}

}  // namespace OrviAiService
