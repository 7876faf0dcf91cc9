// Face detectors. The service describes each in a record that travels with every request; only the callback of a
// video source is kept here.
#include "bounded_text.h"
#include "client_log.h"
#include "face_registry.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_channels.h"
#include "orvi_securec.h"
#include "request_rows.h"

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
    tagAiDetClientInfo described = {};  // a short reply leaves the rest zero
    const Exchange exchange = Send(Requests::DETECTOR_CREATE, &request, &described);
    ReplyPtr reply(exchange.reply);
    if (exchange.outcome == Outcome::NOT_SENT) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::CreateDetectTrackProxy> call SendSynMsgToVision failed.");
        return -1;
    }
    info = described;
    if (exchange.outcome != Outcome::DONE) {
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

// --- Requests on an existing detector: its record travels, and the reply replaces it ---

constexpr Sender Senders::RemoveDetectTrackProxy = {
    [](const TagMsgBlock&) {
        ORVI_LOG_INFO("<AiSrvServiceProxy::RemoveDetectTrackProxy> send destroy detecttrack msg.");
    },
    [](uint32_t msgId) { ORVI_LOG_INFO("<AiSrvServiceProxy::RemoveDetectTrackProxy> get msg response: %x.", msgId); },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
            case Failure::TASK_UNNAMED:
                LogInterfaceBlockFailed();
                ORVI_LOG_ERROR(
                    "<AiSrvServiceProxy::RemoveDetectTrackProxy> failed: call SetDefaultMsgBlockToMaster failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<AiSrvServiceProxy::RemoveDetectTrackProxy> failed: call OsMsgSynSend failed.");
                break;
            case Failure::NO_REPLY:
                ORVI_LOG_ERROR("<AiSrvServiceProxy::RemoveDetectTrackProxy> failed: can not get msg response %x.",
                               error.msgId);
                break;
        }
    },
};

int AiSrvServiceProxy::RemoveDetectTrackProxy(tagAiDetClientInfo& info) {
    if (Transact(
            Requests::DETECTOR_DESTROY, &info, nullptr,
            [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::RemoveDetectTrackProxy> failed: call memcpy_s failed."); },
            &info) != 0) {
        return -1;
    }
    EraseFaceCallback(info.sourceId);
    return 0;
}

constexpr Sender Senders::StartDetectTrackProxy = {
    [](const TagMsgBlock&) { ORVI_LOG_INFO("<AiSrvServiceProxy::StartDetectTrackProxy> send start detecttrack msg."); },
    [](uint32_t msgId) { ORVI_LOG_INFO("<AiSrvServiceProxy::StartDetectTrackProxy> get msg response: %x.", msgId); },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
            case Failure::TASK_UNNAMED:
                LogInterfaceBlockFailed();
                ORVI_LOG_ERROR(
                    "<AiSrvServiceProxy::StartDetectTrackProxy> failed: call SetDefaultMsgBlockToMaster failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<AiSrvServiceProxy::StartDetectTrackProxy> failed: call OsMsgSynSend failed.");
                break;
            case Failure::NO_REPLY:
                ORVI_LOG_ERROR("<AiSrvServiceProxy::StartDetectTrackProxy> failed: can not get msg response %x.",
                               error.msgId);
                break;
        }
    },
};

int AiSrvServiceProxy::StartDetectTrackProxy(tagAiDetClientInfo& info) {
    return Transact(
        Requests::DETECTOR_START, &info, nullptr,
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::StartDetectTrackProxy> failed: call memcpy_s failed."); }, &info);
}

constexpr Sender Senders::StopDetectTrackProxy = {
    [](const TagMsgBlock&) { ORVI_LOG_INFO("<AiSrvServiceProxy::StopDetectTrackProxy> send stop detecttrack msg."); },
    [](uint32_t msgId) { ORVI_LOG_INFO("<AiSrvServiceProxy::StopDetectTrackProxy> get msg response: %x.", msgId); },
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
            case Failure::TASK_UNNAMED:
                LogInterfaceBlockFailed();
                ORVI_LOG_ERROR(
                    "<AiSrvServiceProxy::StopDetectTrackProxy> failed: call SetDefaultMsgBlockToMaster failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<AiSrvServiceProxy::StopDetectTrackProxy> failed: call OsMsgSynSend failed.");
                break;
            case Failure::NO_REPLY:
                ORVI_LOG_ERROR("<AiSrvServiceProxy::StopDetectTrackProxy> failed: can not get msg response %x.",
                               error.msgId);
                break;
        }
    },
};

int AiSrvServiceProxy::StopDetectTrackProxy(tagAiDetClientInfo& info) {
    return Transact(
        Requests::DETECTOR_STOP, &info, nullptr,
        [] { ORVI_LOG_ERROR("<AiSrvServiceProxy::StopDetectTrackProxy> failed: call memcpy_s failed."); }, &info);
}

}  // namespace OrviAiService
