// Captions.
#include "client_log.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_securec.h"
#include "request_rows.h"

namespace OrviAiService {
namespace {

bool IsValid(const tagOrviAiConfInfo& confInfo) {
    return confInfo.text2[0] != '\0' && confInfo.text1[0] != '\0' && confInfo.option1 <= 1 && confInfo.option2 <= 2;
}

}  // namespace

int AiSrvServiceProxy::CaptionInit(OrviAiCaptionCallback callback) {
    ORVI_LOG_INFO("<AiSrvServiceProxy::CaptionInit> enter CaptionInit");
    if (!isInited.load()) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CaptionInit> ai srv has not inited.");
        return -1;
    }
    m_captionCallBackFun.store(callback);
    tagAiTaskBasicInfo info;
    if (SetStAiTaskBasicInfo(info) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CaptionInit> failed: call SetStAiTaskBasicInfo failed.");
        return -1;
    }
    return Transact(
        Requests::CAPTION_INIT, &info,
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::CaptionInit> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::CaptionInit> failed: response ret is error."); });
}

int AiSrvServiceProxy::CaptionDeinit() {
    ORVI_LOG_INFO("<AiSrvServiceProxy::CaptionDeinit> enter CaptionDeinit");
    return Transact(
        Requests::CAPTION_DEINIT, nullptr,
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::CaptionDeinit> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::CaptionDeinit> failed: response ret is error."); });
}

int AiSrvServiceProxy::StartCaptionProxy(tagOrviAiConfInfo* confInfo, uint8_t isReportCaption) {
    ORVI_LOG_INFO("<AiSrvServiceProxy::StartCaptionProxy> enter StartCaptionProxy");
    PauseIfServiceDown();
    if (confInfo == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::StartCaptionProxy> failed: confInfo is nullptr");
        return -1;
    }
    if (!IsValid(*confInfo)) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::StartCaptionProxy> failed: confInfo content is invalid");
        return -1;
    }
    if (isReportCaption > 1) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::StartCaptionProxy> failed: isReportCaption = %d , is invalid",
                       isReportCaption);
        return -1;
    }
    tagAiCaptionStart request;
    (void)memset_s(&request, sizeof(request), 0, sizeof(request));
    if (SetProxyInfo(request.client) != 0) {
        ORVI_LOG_ERROR("<StartCaptionProxy> call SetProxyInfo failed.");
        return -1;
    }
    if (memcpy_s(&request.conference, sizeof(request.conference), confInfo, sizeof(*confInfo)) != 0) {
        ORVI_LOG_ERROR("<StartCaptionProxy> memcpy_s confInfo failed.");
        return -1;
    }
    request.isReportCaption = isReportCaption;
    return Transact(
        Requests::CAPTION_START, &request,
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::StartCaptionProxy> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::StartCaptionProxy> failed: response ret is error."); });
}

int AiSrvServiceProxy::StopCaptionProxy() {
    tagAiTaskBasicInfo info;
    if (SetProxyInfo(info) != 0) {
        ORVI_LOG_ERROR("<StopCaptionProxy> call SetProxyInfo failed.");
        return -1;
    }
    return Transact(
        Requests::CAPTION_STOP, &info,
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::StopCaptionProxy> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::StopCaptionProxy> failed: response ret is error."); });
}

}  // namespace OrviAiService
