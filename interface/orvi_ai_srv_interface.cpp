// The exported functions of the vision service: check, log, one call of the proxy, map the result.
#include <cstdlib>

#include "bounded_text.h"
#include "client_log.h"
#include "device_capability.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_os_msg.h"
#include "orvi_securec.h"

using OrviAiService::AiSrvServiceProxy;
using OrviAiService::BoundedText;
using OrviAiService::LogLine;

namespace {

// Logs how a request went, in the function's own words; 0, or -1 for every other result.
int Outcome(int result, LogLine failed, LogLine succeeded = nullptr) {
    if (result != 0) {
        failed();
        return -1;
    }
    if (succeeded != nullptr) {
        succeeded();
    }
    return 0;
}

}  // namespace

// --- Connection ---

int OrviAiSrvApiInit(tagOrviAppInfo appInfo, OrviAiMainCallback callback) {
    constexpr uint32_t BUS_LOG_LEVEL = 3;
    ORVI_LOG_INFO("<OrviAiSrvApiInit> init request begin.");
    if (callback == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvApiInit> callback is nullptr");
        return -1;
    }
    (void)OsMsgRegLogFunc(nullptr);
    (void)OsMsgSetLogLevel(BUS_LOG_LEVEL);
    if (AiSrvServiceProxy::GetInstance().Initiate(appInfo, callback) != 0) {
        ORVI_LOG_ERROR("<OrviAiSrvApiInit> init request failed.");
        return -1;
    }
    ORVI_LOG_INFO("<OrviAiSrvApiInit> succeed.");
    return 0;
}

int OrviAiSrvApiDeinit() {
    ORVI_LOG_INFO("<OrviAiSrvApiDeInit> deinit request begin.");
    if (AiSrvServiceProxy::GetInstance().UnInitiate() != 0) {
        ORVI_LOG_ERROR("<OrviAiSrvApiDeInit> failed: call UnInitiate failed.");
        return -1;
    }
    ORVI_LOG_INFO("<OrviAiSrvApiDeInit> succeed.");
    return 0;
}

// --- Face detection ---

int OrviAiSrvCreateFaceDetector(void** handle, int sourceId, int frameRate, uint8_t needReID,
                                OrviAiSrvFaceCallback callback) {
    constexpr int MIN_FRAME_RATE = 1;
    constexpr int MAX_FRAME_RATE = 30;
    ORVI_LOG_INFO(
        "<OrviAiSrvCreateFaceDetector> create face detector request begin: sourceId=%d, frameRate=%d, neeedReID=%d.",
        sourceId, frameRate, needReID);
    if (callback == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvCreateFaceDetector> callback is nullptr");
        return -1;
    }
    if (sourceId != 0) {
        ORVI_LOG_ERROR("<OrviAiSrvCreateFaceDetector> sourceId must be 0");
        return -1;
    }
    if (handle == nullptr || *handle != nullptr) {
        ORVI_LOG_ERROR(
            "<OrviAiSrvCreateFaceDetector> create face detector failed: handle is null or handle value is not empty "
            "pointer.");
        return -1;
    }
    if (frameRate < MIN_FRAME_RATE) {
        frameRate = MIN_FRAME_RATE;
        ORVI_LOG_INFO("<OrviAiSrvCreateFaceDetector> the min frameRate is 1");
    } else if (frameRate > MAX_FRAME_RATE) {
        frameRate = MAX_FRAME_RATE;
        ORVI_LOG_INFO("<OrviAiSrvCreateFaceDetector> the max frameRate is 30");
    }
    auto* const info = static_cast<tagAiDetClientInfo*>(malloc(sizeof(tagAiDetClientInfo)));
    if (info == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvCreateFaceDetector> malloc failed");
        return -1;
    }
    if (AiSrvServiceProxy::GetInstance().CreateDetectTrackProxy(*info, sourceId, frameRate, needReID != 0, callback) !=
        0) {
        ORVI_LOG_ERROR(
            "<OrviAiSrvCreateFaceDetector> create face detector failed: call CreateDetectTrackProxy failed.");
        free(info);
        return -1;
    }
    ORVI_LOG_INFO("<OrviAiSrvCreateFaceDetector> succeed: client info, proc=%s, task=%s, cpu=%x.",
                  BoundedText(info->address.proc).Text(), BoundedText(info->address.task).Text(), info->address.cpu);
    *handle = info;
    ORVI_LOG_INFO("<OrviAiSrvCreateFaceDetector> create face detector request succeed.");
    return 0;
}

int OrviAiSrvDestroyFaceDetector(void* handle) {
    ORVI_LOG_INFO("<OrviAiSrvDestroyFaceDetector> destroy face detector request begin.");
    if (handle == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvDestroyFaceDetector> failed: handle is null pointer.");
        return -1;
    }
    auto& info = *static_cast<tagAiDetClientInfo*>(handle);
    const int result = AiSrvServiceProxy::GetInstance().RemoveDetectTrackProxy(info);
    free(handle);
    return Outcome(
        result,
        [] {
            ORVI_LOG_ERROR(
                "<OrviAiSrvDestroyFaceDetector> destory face detector failed: call RemoveDetectTrackProxy failed.");
        },
        [] { ORVI_LOG_INFO("<OrviAiSrvDestroyFaceDetector> destroy face detector request succeed."); });
}

int OrviAiSrvStartFaceDetector(void* handle) {
    ORVI_LOG_INFO("<OrviAiSrvStartFaceDetector> start face detector request begin.");
    if (handle == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvStartFaceDetector> failed: handle is null pointer.");
        return -1;
    }
    auto& info = *static_cast<tagAiDetClientInfo*>(handle);
    ORVI_LOG_INFO("<OrviAiSrvStartFaceDetector> succeed: client info, proc=%s, task=%s, cpu=%d, sourceId=%d, status=%d",
                  BoundedText(info.address.proc).Text(), BoundedText(info.address.task).Text(), info.address.cpu,
                  info.sourceId, info.status);
    const int result = AiSrvServiceProxy::GetInstance().StartDetectTrackProxy(info);
    return Outcome(
        result,
        [] {
            ORVI_LOG_ERROR(
                "<OrviAiSrvStartFaceDetector> start face detector failed: call StartDetectTrackProxy failed.");
        },
        [] { ORVI_LOG_INFO("<OrviAiSrvStartFaceDetector> start face detector request succeed."); });
}

int OrviAiSrvStopFaceDetector(void* handle) {
    ORVI_LOG_INFO("<OrviAiSrvStopFaceDetector> stop face detector request begin.");
    if (handle == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvStopFaceDetector> failed: handle is null pointer.");
        return -1;
    }
    auto& info = *static_cast<tagAiDetClientInfo*>(handle);
    const int result = AiSrvServiceProxy::GetInstance().StopDetectTrackProxy(info);
    return Outcome(
        result,
        [] {
            ORVI_LOG_ERROR("<OrviAiSrvStopFaceDetector> stop face detector failed: call StopDetectTrackProxy failed.");
        },
        [] { ORVI_LOG_INFO("<OrviAiSrvStopFaceDetector> stop face detector request succeed."); });
}

int OrviAiSrvFaceDetectorGetById(void* handle, int* faceIds, int count, tagOrviAiSrvPhotoResult* result) {
    constexpr int MAX_IDS = tagAiFaceQuery::MAX_IDS;
    ORVI_TRACE(OrviAiService::LOG_INFO, "OrviAiSrvFaceDetectorGetById",
               "<OrviAiSrvFaceDetectorGetById> start face query request begin.");
    if (handle == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvFaceDetectorGetById> failed: handle is null.");
        return -1;
    }
    if (count < 1 || count > MAX_IDS || faceIds == nullptr || result == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvFaceDetectorGetById> failed: query param invalid");
        return -1;
    }
    auto& info = *static_cast<tagAiDetClientInfo*>(handle);
    if (AiSrvServiceProxy::GetInstance().GetFaceDetectorById(info, faceIds, count, result) != 0) {
        ORVI_TRACE(OrviAiService::LOG_ERROR, "OrviAiSrvFaceDetectorGetById",
                   "<OrviAiSrvFaceDetectorGetById> call FaceDetectorGetById failed.");
        return -1;
    }
    return 0;
}

// --- Captions ---

int OrviAiSrvCaptionInit(OrviAiCaptionCallback callback) {
    ORVI_LOG_INFO("<OrviAiSrvCaptionInit> init request begin.");
    if (callback == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvCaptionInit> callback is nullptr");
        return -1;
    }
    return Outcome(
        AiSrvServiceProxy::GetInstance().CaptionInit(callback),
        [] { ORVI_LOG_ERROR("<OrviAiSrvCaptionInit> init request failed."); },
        [] { ORVI_LOG_INFO("<OrviAiSrvCaptionInit> succeed."); });
}

int OrviAiSrvCaptionDeInit() {
    ORVI_LOG_INFO("<OrviAiSrvCaptionDeInit> deinit request begin.");
    return Outcome(
        AiSrvServiceProxy::GetInstance().CaptionDeinit(),
        [] { ORVI_LOG_ERROR("<OrviAiSrvCaptionDeInit> deinit request failed."); },
        [] { ORVI_LOG_INFO("<OrviAiSrvCaptionDeInit> succeed."); });
}

int OrviAiSrvCaptionStart(tagOrviAiConfInfo* confInfo, uint8_t isReportCaption) {
    ORVI_LOG_INFO("<OrviAiSrvCaptionStart> start request begin.");
    if (confInfo == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvCaptionStart> start caption failed: confInfo is nullptr");
        return -1;
    }
    return Outcome(
        AiSrvServiceProxy::GetInstance().StartCaptionProxy(confInfo, isReportCaption),
        [] { ORVI_LOG_ERROR("<OrviAiSrvCaptionStart> start Caption failed: call StartCaptionProxy failed."); },
        [] { ORVI_LOG_INFO("<OrviAiSrvCaptionStart> start Caption request succeed."); });
}

int OrviAiSrvCaptionStop() {
    ORVI_LOG_INFO("<OrviAiSrvCaptionStop> stop Caption request begin.");
    return Outcome(
        AiSrvServiceProxy::GetInstance().StopCaptionProxy(),
        [] { ORVI_LOG_ERROR("<OrviAiSrvCaptionStop> stop Caption failed: call StopCaptionProxy failed."); },
        [] { ORVI_LOG_INFO("<OrviAiSrvCaptionStop> stop Caption request succeed."); });
}

// --- Nameplates, director, lock state ---

int OrviAiSrvNamePlateInit() {
    ORVI_LOG_INFO("<OrviAiSrvNamePlateInit> init request begin.");
    return Outcome(
        AiSrvServiceProxy::GetInstance().NameplateInit(),
        [] { ORVI_LOG_ERROR("<OrviAiSrvNamePlateInit> init request failed."); },
        [] { ORVI_LOG_INFO("<OrviAiSrvNamePlateInit> succeed."); });
}

int OrviAiSrvNamePlateDeInit() {
    ORVI_LOG_INFO("<OrviAiSrvNamePlateDeInit> deinit request begin.");
    return Outcome(
        AiSrvServiceProxy::GetInstance().NameplateDeinit(),
        [] { ORVI_LOG_ERROR("<OrviAiSrvNamePlateDeInit> deinit request failed."); },
        [] { ORVI_LOG_INFO("<OrviAiSrvNamePlateDeInit> succeed."); });
}

int OrviAiSrvNamePlateStart() {
    ORVI_LOG_INFO("<OrviAiSrvNamePlateStart> start nameplate request begin.");
    return Outcome(
        AiSrvServiceProxy::GetInstance().StartNameplateProxy(),
        [] { ORVI_LOG_ERROR("<OrviAiSrvNamePlateStart> start nameplate failed: call StartNameplateProxy failed."); },
        [] { ORVI_LOG_INFO("<OrviAiSrvNamePlateStart> start nameplate request succeed."); });
}

int OrviAiSrvNamePlateStop() {
    ORVI_LOG_INFO("<OrviAiSrvNamePlateStop> stop nameplate request begin.");
    return Outcome(
        AiSrvServiceProxy::GetInstance().StopNameplateProxy(),
        [] { ORVI_LOG_ERROR("<OrviAiSrvNamePlateStop> stop nameplate failed: call StopNameplateProxy failed."); },
        [] { ORVI_LOG_INFO("<OrviAiSrvNamePlateStop> stop nameplate request succeed."); });
}

int OrviAiSrvDirectorInit() {
    ORVI_LOG_INFO("<OrviAiSrvDirectorInit> The director is turned on by default.");
    return -1;
}

int OrviAiSrvDirectorDeInit() {
    ORVI_LOG_INFO("<OrviAiSrvDirectorDeInit> Director does not deinitialize.");
    return -1;
}

int OrviAiSrvDirectorStart() {
    ORVI_LOG_INFO("<OrviAiSrvDirectorStart> start director request begin.");
    return Outcome(
        AiSrvServiceProxy::GetInstance().StartDirectorTrackProxy(),
        [] { ORVI_LOG_ERROR("<OrviAiSrvDirectorStart> StartDirectorTrackProxy failed."); },
        [] { ORVI_LOG_INFO("<OrviAiSrvDirectorStart> start director request succeed."); });
}

int OrviAiSrvDirectorStop() {
    ORVI_LOG_INFO("<OrviAiSrvDirectorStop> stop director request begin.");
    return Outcome(
        AiSrvServiceProxy::GetInstance().StopDirectorTrackProxy(),
        [] { ORVI_LOG_ERROR("<OrviAiSrvDirectorStop> StopDirectorTrackProxy failed."); },
        [] { ORVI_LOG_INFO("<OrviAiSrvDirectorStop> stop director request succeed."); });
}

int OrviAiLockStateChange(int lockState) {
    ORVI_LOG_INFO("<OrviAiLockStateChange> begin.");
    return Outcome(
        AiSrvServiceProxy::GetInstance().AiLockStateChange(lockState),
        [] { ORVI_LOG_ERROR("<OrviAiLockStateChange> AiLockStateChange failed."); },
        [] { ORVI_LOG_INFO("<OrviAiLockStateChange> succeed."); });
}

// --- Check-in ---

int OrviAiSrvCheckInInit() {
    ORVI_LOG_INFO("<OrviAiSrvCheckInInit> init request begin.");
    return Outcome(AiSrvServiceProxy::GetInstance().CheckInInit(),
                   [] { ORVI_LOG_ERROR("<OrviAiSrvCheckInInit> init request failed."); });
}

int OrviAiSrvCheckInStart(tagOrviAiConfIdInfo confInfo) {
    ORVI_LOG_INFO("<OrviAiSrvCheckInStart> init request begin.");
    return Outcome(AiSrvServiceProxy::GetInstance().CheckInStart(confInfo),
                   [] { ORVI_LOG_ERROR("<OrviAiSrvCheckInStart> init request failed."); });
}

int OrviAiSrvCheckInStartReport(tagOrviAiCheckinType type, tagOrviAiConfIdInfo confInfo) {
    return Outcome(AiSrvServiceProxy::GetInstance().CheckInStartReport(type, confInfo),
                   [] { ORVI_LOG_ERROR("<OrviAiSrvCheckInStartReport> init request failed."); });
}

int OrviAiSrvCheckInStopReport() {
    ORVI_LOG_INFO("<OrviAiSrvCheckInStopReport> init request begin.");
    return Outcome(AiSrvServiceProxy::GetInstance().CheckInStoptReport(),
                   [] { ORVI_LOG_ERROR("<OrviAiSrvCheckInStopReport> init request failed."); });
}

int OrviAiSrvGetCheckinData(tagCheckinTotalData* checkinData, OrviAiCheckInShowType showType, uint32_t pageNum) {
    if (checkinData == nullptr) {
        ORVI_LOG_INFO("<OrviAiSrvGetCheckinData> checkinData is nullptr.");
        return -1;
    }
    if (static_cast<uint32_t>(showType) >= ORVI_AI_CHECKIN_SHOW_COUNT) {
        ORVI_LOG_INFO("<OrviAiSrvGetCheckinData> type=%d is invalid.", static_cast<int>(showType));
        return -1;
    }
    if (pageNum < 1 || pageNum > ORVI_AI_CHECKIN_MAX_PAGE) {
        ORVI_LOG_INFO("<OrviAiSrvGetCheckinData> pageNum=%d is invalid.", static_cast<int>(pageNum));
        return -1;
    }
    return Outcome(AiSrvServiceProxy::GetInstance().QueryCheckInData(checkinData, showType, pageNum),
                   [] { ORVI_LOG_ERROR("<OrviAiSrvGetCheckinData> init request failed."); });
}

int OrviAiSrvGetCheckinPhoto(const char* userId, uint32_t userIdLen, uint8_t* photoBuffer, uint32_t* photoLen) {
    if (userId == nullptr || userIdLen < 1 || userIdLen > ORVI_AI_CHECKIN_MAX_USER_ID) {
        ORVI_LOG_INFO("<OrviAiSrvGetCheckinPhoto> userId is invalid.");
        return -1;
    }
    if (photoBuffer == nullptr || photoLen == nullptr || *photoLen == 0) {
        ORVI_LOG_INFO("<OrviAiSrvGetCheckinPhoto> photoBuffer is invalid.");
        return -1;
    }
    auto* const readOnly = const_cast<char*>(userId);  // the method's signature is fixed without const
    return Outcome(AiSrvServiceProxy::GetInstance().QueryCheckInPhoto(readOnly, userIdLen, photoBuffer, photoLen),
                   [] { ORVI_LOG_ERROR("<OrviAiSrvGetCheckinPhoto> init request failed."); });
}

int OrviAiSrvCheckInStop() {
    ORVI_LOG_INFO("<OrviAiSrvCheckInStop> init request begin.");
    return Outcome(AiSrvServiceProxy::GetInstance().CheckInStop(),
                   [] { ORVI_LOG_ERROR("<OrviAiSrvCheckInStop> init request failed."); });
}

int OrviAiSrvCheckInClearData() {
    ORVI_LOG_INFO("<OrviAiSrvCheckInClearData> init request begin.");
    return Outcome(AiSrvServiceProxy::GetInstance().CheckInClearData(),
                   [] { ORVI_LOG_ERROR("<OrviAiSrvCheckInClearData> init request failed."); });
}

int OrviAiSrvCheckInDeinit() {
    ORVI_LOG_INFO("<OrviAiSrvCheckInDeinit> init request begin.");
    return Outcome(AiSrvServiceProxy::GetInstance().CheckInDeinit(),
                   [] { ORVI_LOG_ERROR("<OrviAiSrvCheckInDeinit> init request failed."); });
}

// --- Signature and minutes ---

int OrviAiSrvSignatureStart(tagOrviAiMinutesConfInfo confInfo) {
    ORVI_LOG_INFO("<OrviAiSrvMinutesStart> MinutesStart begin.");
    return AiSrvServiceProxy::GetInstance().AiSrvMinutesStart(confInfo);
}

int OrviAiSrvSignatureStop() {
    ORVI_LOG_INFO("<OrviAiSrvMinutesStop> MinutesStop begin.");
    return AiSrvServiceProxy::GetInstance().AiSrvMinutesStop();
}

// --- Version and ability ---

int OrviAiSrvGetVersion(char* version, int32_t len) {
    static constexpr char VERSION_TEXT[] = "3.1.0.1";
    if (version == nullptr || len < static_cast<int32_t>(sizeof(VERSION_TEXT))) {
        ORVI_LOG_ERROR("<OrviAiSrvGetVersion> version is nullptr or len is wrong .");
        return -1;
    }
    return memcpy_s(version, static_cast<size_t>(len), VERSION_TEXT, sizeof(VERSION_TEXT)) == 0 ? 0 : -1;
}

int OrviAiSrvGetAbility(tagOrviAiAbility* ability) {
    if (ability == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvGetAbility> aibility is nullptr.");
        return -1;
    }
    (void)memset_s(ability, sizeof(*ability), 0, sizeof(*ability));
    OrviAiService::DeviceCapability device;
    if (!OrviAiService::ReadDeviceCapability(device)) {
        ORVI_LOG_ERROR("<OrviAiSrvGetAbility> Api read xml failed");
        return -1;
    }
    if (device.largeModelA == 1 || device.largeModelB == 1) {
        const int ret = AiSrvServiceProxy::GetInstance().GetLargeModelAbility(ability);
        if (ret != 0) {
            ORVI_LOG_ERROR("<OrviAiSrvGetAbility> GetLargeModelAbility failed, ret: %d", ret);
        }
    } else {
        ability->isVoiceAssistSupported = 0;
        ability->isTzCloudLLM = 0;
        ORVI_LOG_INFO("<OrviAiSrvGetAbility> xml cap all not support");
    }
    ability->isSpeakTrackSupported = device.speakTrack;
    ability->isAutoFrameSupported = device.autoFrame;
    ability->isSplitScreenSupported = device.splitScreen;
    ability->isDirectorSupported = device.director;
    ability->isFastDirectorSupported = device.fastDirector;
    ability->isSignSupported = device.sign;
    ability->isNamePlateSupported = device.nameplate;
    ability->isCaptionSupported = device.caption;
    ability->isFaceDetectorSupported = device.faceDetector;
    ability->isMinutesSignature = device.minutesSignature;
    ORVI_LOG_INFO(
        "<OrviAiSrvGetAbility> isTzCloudLLM: %d isVoiceAssistSupported: %d isSpeakTrackSupported:%d "
        "isDirectorSupported:%d isAutoFrameSupported:%d isSignSupported:%d isNamePlateSupported:%d "
        "isCaptionSupported:%d isFaceDetectorSupported:%d isFastDirectorSupported:%d isMinutesSignature:%d "
        "isSplitScreenSupported:%d xml cap: %d - %d",
        ability->isTzCloudLLM, ability->isVoiceAssistSupported, ability->isSpeakTrackSupported,
        ability->isDirectorSupported, ability->isAutoFrameSupported, ability->isSignSupported,
        ability->isNamePlateSupported, ability->isCaptionSupported, ability->isFaceDetectorSupported,
        ability->isFastDirectorSupported, ability->isMinutesSignature, ability->isSplitScreenSupported,
        device.largeModelA, device.largeModelB);
    return 0;
}

// --- Large model ---

int OrviAiSrvLargeModelInit(OrviAiLLMInitParams params) {
    ORVI_LOG_INFO("<OrviAiSrvLargeModelInit> init. serverType[%d]", params.serverType);
    if (AiSrvServiceProxy::GetInstance().LargeModelInit(params) != 0) {
        ORVI_LOG_ERROR("<OrviAiSrvLargeModelInit> init request failed.");
        return -1;
    }
    ORVI_LOG_INFO("<OrviAiSrvLargeModelInit> succeed.");
    return 0;
}

int OrviAiSrvLargeModelRequest(OrviAiModelParams params) {
    ORVI_LOG_INFO("<OrviAiSrvLargeModelRequest> in.");
    ORVI_LOG_INFO("OrviAiSrvLargeModelRequest type=%u", params.type);
    if (AiSrvServiceProxy::GetInstance().LargeModelRequest(params) != 0) {
        ORVI_LOG_ERROR("<OrviAiSrvLargeModelRequest> request failed.");
        return -1;
    }
    return 0;
}

int OrviAiSrvLargeModelDeInit(OrviAiLLMInitParams params) {
    ORVI_LOG_INFO("<OrviAiSrvLargeModelDeInit> in.");
    if (AiSrvServiceProxy::GetInstance().LargeModelDeInit(params) != 0) {
        ORVI_LOG_ERROR("<OrviAiSrvLargeModelDeInit> LargeModelDeInit failed.");
        return -1;
    }
    ORVI_LOG_INFO("<OrviAiSrvLargeModelDeInit> succeed.");
    return 0;
}
