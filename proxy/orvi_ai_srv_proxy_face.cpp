// Face detectors. The service describes each in a record that travels with every request; only the callback of a
// video source is kept here.
#include "bounded_text.h"
#include "client_log.h"
#include "face_registry.h"
#include "message_ids.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_channels.h"
#include "orvi_securec.h"
#include "reply_block.h"

namespace OrviAiService {
namespace {

int SetStCreateDetTrack(tagAiCreateDetTrack& request, int sourceId, int frameRate, bool needReID) {
    (void)memset_s(&request, sizeof(request), 0, sizeof(request));
    if (FillClientAddress(request.client) != Addressing::DONE) {
        ORVI_LOG_ERROR("<SetStCreateDetTrack> call memcpy_s failed.");
        return -1;
    }
    request.sourceId = sourceId;
    request.frameRate = frameRate;
    request.needReID = needReID ? 1 : 0;
    return 0;
}

// A request on an existing detector, and the words of its log lines.
struct DetectorRequest {
    uint32_t msgId;
    const char* method;
    const char* verb;
};
constexpr DetectorRequest DESTROY = {AI_MSG_DETECT_TRACK_DESTROY, "RemoveDetectTrackProxy", "destroy"};
constexpr DetectorRequest START = {AI_MSG_DETECT_TRACK_START, "StartDetectTrackProxy", "start"};
constexpr DetectorRequest STOP = {AI_MSG_DETECT_TRACK_STOP, "StopDetectTrackProxy", "stop"};

// Sends the record and copies the reply over it. Unlike the senders it accepts a reply without data.
int ExchangeClientInfo(const DetectorRequest& request, tagAiDetClientInfo& info) {
    TagMsgBlock block;
    if (SetDefaultIntefMsgBlockToMaster(block) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> failed: call SetDefaultMsgBlockToMaster failed.", request.method);
        return -1;
    }
    SetRequest(block, request.msgId, &info, sizeof(info));
    ORVI_LOG_INFO("<AiSrvServiceProxy::%s> send %s detecttrack msg.", request.method, request.verb);
    TagMsgBlock* replyBlock = nullptr;
    if (OsMsgSynSend(&block, &replyBlock, WAIT_BUS_LIMIT) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> failed: call OsMsgSynSend failed.", request.method);
        return -1;
    }
    const ReplyPtr reply(replyBlock);
    if (reply == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> failed: can not get msg response %x.", request.method, request.msgId);
        return -1;
    }
    ORVI_LOG_INFO("<AiSrvServiceProxy::%s> get msg response: %x.", request.method, request.msgId);
    if (reply->dataLen != 0 && memcpy_s(&info, sizeof(info), reply->data, reply->dataLen) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::%s> failed: call memcpy_s failed.", request.method);
        return -1;
    }
    return 0;
}

}  // namespace

int AiSrvServiceProxy::CreateDetectTrackProxy(tagAiDetClientInfo& info, int sourceId, int frameRate, bool needReID,
                                              OrviAiSrvFaceCallback callback) {
    if (!isInited.load()) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CreateDetectTrackProxy> failed: need call init first.");
        return -1;
    }
    PauseIfServiceDown();
    tagAiCreateDetTrack request;
    if (SetStCreateDetTrack(request, sourceId, frameRate, needReID) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CreateDetectTrackProxy> call SetStCreateDetTrack failed.");
        return -1;
    }
    TagMsgBlock* replyBlock = nullptr;
    if (SendSynMsgToVision(AI_MSG_DETECT_TRACK_CREATE, reinterpret_cast<uint8_t*>(&request), sizeof(request),
                           WAIT_BUS_LIMIT, &replyBlock) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CreateDetectTrackProxy> call SendSynMsgToVision failed.");
        return -1;
    }
    ReplyPtr reply(replyBlock);
    (void)memset_s(&info, sizeof(info), 0, sizeof(info));  // a short reply leaves the rest zero
    if (memcpy_s(&info, sizeof(info), reply->data, reply->dataLen) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CreateDetectTrackProxy> failed: call memcpy_s failed.");
        return -1;
    }
    reply.reset();
    if (!StoreFaceCallback(sourceId, callback)) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CreateDetectTrackProxy> failed: store callback failed.");
        return -1;
    }
    ORVI_LOG_INFO("<AiSrvServiceProxy::CreateDetectTrackProxy> succeed: client info, proc=%s, task=%s, cpu=%x.",
                  BoundedText(info.address.proc).Text(), BoundedText(info.address.task).Text(), info.address.cpu);
    return 0;
}

int AiSrvServiceProxy::RemoveDetectTrackProxy(tagAiDetClientInfo& info) {
    if (ExchangeClientInfo(DESTROY, info) != 0) {
        return -1;
    }
    EraseFaceCallback(info.sourceId);
    return 0;
}

int AiSrvServiceProxy::StartDetectTrackProxy(tagAiDetClientInfo& info) {
    return ExchangeClientInfo(START, info);
}

int AiSrvServiceProxy::StopDetectTrackProxy(tagAiDetClientInfo& info) {
    return ExchangeClientInfo(STOP, info);
}

}  // namespace OrviAiService
