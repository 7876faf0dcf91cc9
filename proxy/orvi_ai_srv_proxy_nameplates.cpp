// Nameplates.
#include "client_log.h"
#include "orvi_ai_srv_proxy.h"
#include "request_rows.h"

namespace OrviAiService {

int AiSrvServiceProxy::NameplateInit() {
    ORVI_LOG_INFO("<AiSrvServiceProxy::NameplateInit> enter NameplateInit");
    return OrviAiService::SendSynMsgToFaceReturnInt(Requests::NAMEPLATE_INIT, nullptr);
}

int AiSrvServiceProxy::NameplateDeinit() {
    ORVI_LOG_INFO("<AiSrvServiceProxy::NameplateDeinit> enter NameplateDeinit");
    return OrviAiService::SendSynMsgToFaceReturnInt(Requests::NAMEPLATE_DEINIT, nullptr);
}

int AiSrvServiceProxy::StartNameplateProxy() {
    tagAiTaskBasicInfo info;
    if (SetProxyInfo(info) != 0) {
        ORVI_LOG_ERROR("<StartNameplateProxy> call SetProxyInfo failed.");
        return -1;
    }
    return OrviAiService::SendSynMsgToFaceReturnInt(Requests::NAMEPLATE_START, &info);
}

int AiSrvServiceProxy::StopNameplateProxy() {
    tagAiTaskBasicInfo info;
    if (SetProxyInfo(info) != 0) {
        ORVI_LOG_ERROR("<StopNameplateProxy> call SetProxyInfo failed.");
        return -1;
    }
    return OrviAiService::SendSynMsgToFaceReturnInt(Requests::NAMEPLATE_STOP, &info);
}

}  // namespace OrviAiService
