// Captions.
#include "client_log.h"
#include "message_ids.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_channels.h"
#include "orvi_securec.h"
#include "reply_block.h"

namespace OrviAiService {
namespace {

// Sends a request and judges the reply; `method` is the one that the log names.
int RequestCaptions(const char* method, uint32_t msgId, void* data, uint32_t len) {
    TagMsgBlock* replyBlock = nullptr;
    if (AiSrvServiceProxy::GetInstance().SendSynMsgToVision(msgId, static_cast<uint8_t*>(data), len, WAIT_REPLY,
                                                            &replyBlock) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> call SendSynMsgToVision failed.", method);
        return -1;
    }
    const ReplyPtr reply(replyBlock);
    if (Verdict(*reply) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> failed: response ret is error.", method);
        return -1;
    }
    return 0;
}

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
    return RequestCaptions("CaptionInit", AI_MSG_CAPTION_INIT, &info, sizeof(info));
}

int AiSrvServiceProxy::CaptionDeinit() {
    ORVI_LOG_INFO("<AiSrvServiceProxy::CaptionDeinit> enter CaptionDeinit");
    return RequestCaptions("CaptionDeinit", AI_MSG_CAPTION_DEINIT, nullptr, 0);
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
    return RequestCaptions("StartCaptionProxy", AI_MSG_CAPTION_START, &request, sizeof(request));
}

int AiSrvServiceProxy::StopCaptionProxy() {
    tagAiTaskBasicInfo info;
    if (SetProxyInfo(info) != 0) {
        ORVI_LOG_ERROR("<StopCaptionProxy> call SetProxyInfo failed.");
        return -1;
    }
    return RequestCaptions("StopCaptionProxy", AI_MSG_CAPTION_STOP, &info, sizeof(info));
}

}  // namespace OrviAiService
