// The process's stand-in of the vision service: one object that knows the process's place on the message bus,
// sends every request and receives every message. The exported functions are a thin front before it.
#ifndef ORVI_AI_SRV_PROXY_H
#define ORVI_AI_SRV_PROXY_H

#include <atomic>
#include <cstdint>
#include <string>

#include "orvi_ai_srv.h"
#include "orvi_os_msg.h"
#include "wire_records.h"

namespace OrviAiService {

// Methods return 0 or -1 unless they say otherwise. They log what fails and may be called on any thread.
class ORVI_AI_API AiSrvServiceProxy {
 public:
    static AiSrvServiceProxy& GetInstance();

    // Lifecycle: orvi_ai_srv_proxy_lifecycle.cpp
    int Initiate(tagOrviAppInfo appInfo, OrviAiMainCallback callback);
    int UnInitiate();
    int GenerateProcAndTaskName() const;
    int CreatePthread();
    int AiSrvSendInitMsgToVision();
    int AiSrvSendUninitMsgToVision();
    int AiVisionAPILogInit();  // 1 on success
    int SetProxyInfo(tagAiTaskBasicInfo& info);
    static void* AiVisionProxyThread(void* unused);

    // Request channels: orvi_ai_srv_proxy_channels.cpp, on the path of orvi_ai_srv_proxy_request.h. A method that
    // returns 0 through `reply` hands over a block with data that the caller releases with OsMsgSynRespFree; after -1
    // there is nothing to release.
    int SendAsynMsgToVision(uint32_t msgId, uint8_t* data, uint32_t len) const;
    int SendSynMsgToVision(uint32_t msgId, uint8_t* data, uint32_t len, uint32_t waitTime, TagMsgBlock** reply);
    int SendSynMsgToVisionFaceTask(uint32_t msgId, uint8_t* data, uint32_t len, TagMsgBlock** reply);
    // Returns the service's verdict: 0, its non-zero byte, or -1 when the send fails.
    int SendSynMsgToFaceReturnInt(uint32_t msgId, uint8_t* data, uint32_t len);

    // Event dispatch on the message thread: orvi_ai_srv_proxy_events.cpp
    static int AiVisionProxyMsgHandler(TagMsgBlock* msg);
    static int AiVisionExecResProcess(int msgId, unsigned char* data);
    static int AiVisionProcResMsg(TagMsgBlock* msg);
    static int AiVisionAPICallBack(OrviAiEventId event, tagOrviAiServiceStatusEvent* status);
    static int AiVisionProxyRestoresMsgHandler(TagMsgBlock* msg);

    // Face detection: orvi_ai_srv_proxy_face.cpp. The reply to each request overwrites `info`; a reply that does not
    // fit clears it.
    int CreateDetectTrackProxy(tagAiDetClientInfo& info, int sourceId, int frameRate, bool needReID,
                               OrviAiSrvFaceCallback callback);
    int RemoveDetectTrackProxy(tagAiDetClientInfo& info);
    int StartDetectTrackProxy(tagAiDetClientInfo& info);
    int StopDetectTrackProxy(tagAiDetClientInfo& info);
    // Stored photos: orvi_ai_srv_proxy_photos.cpp
    int GetFaceDetectorById(tagAiDetClientInfo& info, int* faceIds, int count, tagOrviAiSrvPhotoResult* result);

    // Captions: orvi_ai_srv_proxy_captions.cpp
    int CaptionInit(OrviAiCaptionCallback callback);  // the callback stays stored whatever the service replies
    int CaptionDeinit();
    int StartCaptionProxy(tagOrviAiConfInfo* confInfo, uint8_t isReportCaption);
    int StopCaptionProxy();

    // Nameplates: orvi_ai_srv_proxy_nameplates.cpp. They return the service's verdict like SendSynMsgToFaceReturnInt.
    int NameplateInit();
    int NameplateDeinit();
    int StartNameplateProxy();
    int StopNameplateProxy();

    // Director, lock state: orvi_ai_srv_proxy_director.cpp. The service's reply is not read.
    // Waits up to 10 s while the service is down, except inside a callback or a forked child, where the wait could
    // not end.
    int CreateDirectorTrackProxy() const;
    int RemoveDirectorTrackProxy() const;
    int StartDirectorTrackProxy() const;
    int StopDirectorTrackProxy() const;
    int AiLockStateChange(int lockState) const;

    // Check-in: orvi_ai_srv_proxy_check_in.cpp. All but the queries return the service's verdict like
    // SendSynMsgToFaceReturnInt.
    int CheckInInit();
    int CheckInStart(tagOrviAiConfIdInfo& confInfo);
    int CheckInStartReport(tagOrviAiCheckinType type, tagOrviAiConfIdInfo& confInfo);
    int CheckInStoptReport();
    int QueryCheckInData(tagCheckinTotalData* checkinData, OrviAiCheckInShowType showType, uint32_t pageNum);
    int QueryCheckInPhoto(char* userId, uint32_t userIdLen, uint8_t* photoBuffer, uint32_t* photoLen);
    int CheckInStop();
    int CheckInClearData();
    int CheckInDeinit();

    // Signature and minutes: orvi_ai_srv_proxy_minutes.cpp
    int AiSrvMinutesStart(tagOrviAiMinutesConfInfo& confInfo);
    int AiSrvMinutesStop();

    // Large model: orvi_ai_srv_proxy_large_model.cpp
    int LargeModelInit(OrviAiLLMInitParams params);
    int LargeModelRequest(OrviAiModelParams params);
    int LargeModelDeInit(OrviAiLLMInitParams params);
    // Sets isTzCloudLLM and isVoiceAssistSupported and touches nothing else; after -1 the record is as it was.
    int GetLargeModelAbility(tagOrviAiAbility* ability);

    // Voice assistant, hot words: orvi_ai_srv_proxy_assistant_hot_words.cpp
    int AssistantInitKeyWord(tagOrviAppInfo appInfo);
    int AssistantUpdateKeyWord(tagOrviAppInfo appInfo, OrviAiHotwordUpdateType type, std::string& words);

    // Voice assistant, intents, speech and cards: orvi_ai_srv_proxy_assistant_intents.cpp
    int AssistantInitIntent(OrviAiAssistantIntentName* intents, int num);
    int AssistantNotifyIntentResult(uint32_t seq, OrviAiAssistantIntentResult& result);
    int AssistantRequestTts(uint32_t seq, OrviAiAssistantSpeechText& speech);
    int AssistantDisplayCard(uint32_t seq, OrviAiAssistantCard& card);
    int AssistantChooseItem(uint32_t seq, uint32_t itemId);

    // Voice assistant, running state and page info: orvi_ai_srv_proxy_assistant_state.cpp
    int AssistantWakeUp(OrviAiAssistantRunningMode mode);
    int AssistantSleep();
    int AssistantGetStatus(OrviAiAssistantStatus& status);
    int AssistantGetPageInfo(OrviAiAssistantPageInfo& pageInfo);
    int AssistantSetPageInfo(OrviAiAssistantPageInfo& pageInfo);

    // --- State ---

    // The service is up. Cleared after the application has been told of its exit, set after it has been told of its
    // start.
    static std::atomic<bool> isVisionOK;
    static std::atomic<OrviAiMainCallback> gOrviAiVisionCallBackFun;
    static std::atomic<OrviAiCaptionCallback> m_captionCallBackFun;

    std::atomic<bool> isInited{false};  // the first initialisation has completed
    uint32_t threadId = 0;              // message thread; 0 = none. Written during the first initialisation only
};

static_assert(sizeof(std::atomic<OrviAiMainCallback>) == sizeof(void*));
static_assert(sizeof(std::atomic<OrviAiCaptionCallback>) == sizeof(void*));

}  // namespace OrviAiService

#endif
