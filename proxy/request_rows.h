// Every message that the library sends, one row each: the only place that says where it goes, how long it waits, what
// it carries and which reply makes it a success.
#ifndef ORVI_PROXY_REQUEST_ROWS_H
#define ORVI_PROXY_REQUEST_ROWS_H

#include "message_ids.h"
#include "orvi_ai_srv_proxy_request.h"
#include "wire_records.h"

namespace OrviAiService {

// The speakers, each named for the function whose lines it writes.
void SayAiSrvSendInitMsgToVision(Stage stage, const Sending& sending);
void SayAiSrvSendUninitMsgToVision(Stage stage, const Sending& sending);
void SaySendAsynMsgToVision(Stage stage, const Sending& sending);
void SaySendSynMsgToVision(Stage stage, const Sending& sending);
void SaySendSynMsgToVisionOm(Stage stage, const Sending& sending);
void SaySendSynMsgToVisionFaceTask(Stage stage, const Sending& sending);
void SayRemoveDetectTrackProxy(Stage stage, const Sending& sending);
void SayStartDetectTrackProxy(Stage stage, const Sending& sending);
void SayStopDetectTrackProxy(Stage stage, const Sending& sending);
void SayGetFaceDetectorById(Stage stage, const Sending& sending);
void SayDirectorSendMsgToVision(Stage stage, const Sending& sending);
void SayAiLockStateChange(Stage stage, const Sending& sending);
void SaySendMsgToVisionAssistant(Stage stage, const Sending& sending);
void SaySendMsgToVisionAssistantFsm(Stage stage, const Sending& sending);
void SaySendMsgToVisionAssistantHotword(Stage stage, const Sending& sending);
void SaySendSyncMsgToVisionAssistant(Stage stage, const Sending& sending);

namespace Requests {

// The ways to the service's tasks: task, wait in milliseconds, speaker.
constexpr Channel INIT = {TASK_MASTER, WAIT_NONE, SayAiSrvSendInitMsgToVision};
constexpr Channel UNINIT = {TASK_MASTER, WAIT_NONE, SayAiSrvSendUninitMsgToVision};
constexpr Channel INTERFACE = {TASK_INTERFACE, WAIT_REPLY, SaySendSynMsgToVision};
constexpr Channel INTERFACE_LONG = {TASK_INTERFACE, WAIT_BUS_LIMIT, SaySendSynMsgToVision};
constexpr Channel DETECTOR_DESTROYING = {TASK_INTERFACE, WAIT_BUS_LIMIT, SayRemoveDetectTrackProxy};
constexpr Channel DETECTOR_STARTING = {TASK_INTERFACE, WAIT_BUS_LIMIT, SayStartDetectTrackProxy};
constexpr Channel DETECTOR_STOPPING = {TASK_INTERFACE, WAIT_BUS_LIMIT, SayStopDetectTrackProxy};
constexpr Channel PHOTOS = {TASK_INTERFACE, WAIT_BUS_LIMIT, SayGetFaceDetectorById};
constexpr Channel OM = {TASK_OM, WAIT_REPLY, SaySendSynMsgToVisionOm};
constexpr Channel FACE = {TASK_FACE, WAIT_REPLY, SaySendSynMsgToVisionFaceTask};
constexpr Channel DIRECTOR = {TASK_DIRECTOR, WAIT_BUS_LIMIT, SayDirectorSendMsgToVision};
constexpr Channel LOCK_STATE = {TASK_DIRECTOR, WAIT_BUS_LIMIT, SayAiLockStateChange};
constexpr Channel ASSISTANT = {TASK_ASSISTANT, WAIT_NONE, SaySendMsgToVisionAssistant};
constexpr Channel ASSISTANT_QUERY = {TASK_ASSISTANT, WAIT_REPLY, SaySendSyncMsgToVisionAssistant};
constexpr Channel STATE_MACHINE = {TASK_STATE_MACHINE, WAIT_NONE, SaySendMsgToVisionAssistantFsm};
constexpr Channel HOT_WORD = {TASK_HOT_WORD, WAIT_NONE, SaySendMsgToVisionAssistantHotword};

constexpr uint32_t ADDRESS = sizeof(tagAiTaskBasicInfo);
constexpr uint32_t DETECTOR = sizeof(tagAiDetClientInfo);
constexpr uint32_t NUMBER = sizeof(int32_t);

// The rows: id, channel, bytes of the payload, which reply is a success, most bytes of a reply that is copied.
constexpr Request CLIENT_INIT = {AI_MSG_INIT, INIT, ADDRESS, ONE_WAY};
constexpr Request CLIENT_UNINIT = {AI_MSG_UNINIT, UNINIT, ADDRESS, ONE_WAY};

constexpr Request DETECTOR_CREATE = {AI_MSG_DETECT_TRACK_CREATE, INTERFACE_LONG, sizeof(tagAiCreateDetTrack), DATA,
                                     DETECTOR};
constexpr Request DETECTOR_DESTROY = {AI_MSG_DETECT_TRACK_DESTROY, DETECTOR_DESTROYING, DETECTOR, BLOCK, DETECTOR};
constexpr Request DETECTOR_START = {AI_MSG_DETECT_TRACK_START, DETECTOR_STARTING, DETECTOR, BLOCK, DETECTOR};
constexpr Request DETECTOR_STOP = {AI_MSG_DETECT_TRACK_STOP, DETECTOR_STOPPING, DETECTOR, BLOCK, DETECTOR};
constexpr Request FACE_GET_BY_ID = {AI_MSG_FACE_GET_BY_ID, PHOTOS, sizeof(tagAiFaceQuery), BLOCK};

constexpr Request CAPTION_INIT = {AI_MSG_CAPTION_INIT, INTERFACE, ADDRESS, VERDICT};
constexpr Request CAPTION_START = {AI_MSG_CAPTION_START, INTERFACE, sizeof(tagAiCaptionStart), VERDICT};
constexpr Request CAPTION_STOP = {AI_MSG_CAPTION_STOP, INTERFACE, ADDRESS, VERDICT};
constexpr Request CAPTION_DEINIT = {AI_MSG_CAPTION_DEINIT, INTERFACE, 0, VERDICT};

constexpr Request NAMEPLATE_INIT = {AI_MSG_NAMEPLATE_INIT, FACE, 0, VERDICT};
constexpr Request NAMEPLATE_DEINIT = {AI_MSG_NAMEPLATE_DEINIT, FACE, 0, VERDICT};
constexpr Request NAMEPLATE_START = {AI_MSG_NAMEPLATE_START, FACE, ADDRESS, VERDICT};
constexpr Request NAMEPLATE_STOP = {AI_MSG_NAMEPLATE_STOP, FACE, ADDRESS, VERDICT};

constexpr Request DIRECTOR_CREATE = {AI_MSG_DIRECTOR_CREATE, DIRECTOR, NUMBER, BLOCK};
constexpr Request DIRECTOR_REMOVE = {AI_MSG_DIRECTOR_REMOVE, DIRECTOR, NUMBER, BLOCK};
constexpr Request DIRECTOR_START = {AI_MSG_DIRECTOR_START, DIRECTOR, NUMBER, BLOCK};
constexpr Request DIRECTOR_STOP = {AI_MSG_DIRECTOR_STOP, DIRECTOR, NUMBER, BLOCK};
constexpr Request LOCK_STATE_CHANGE = {AI_MSG_LOCK_STATE_CHANGE, LOCK_STATE, NUMBER, BLOCK};

constexpr Request CHECKIN_INIT = {AI_MSG_CHECKIN_INIT, FACE, ADDRESS, VERDICT};
constexpr Request CHECKIN_START = {AI_MSG_CHECKIN_START, FACE, sizeof(tagOrviAiConfIdInfo), VERDICT};
constexpr Request CHECKIN_START_REPORT = {AI_MSG_CHECKIN_START_REPORT, FACE, sizeof(CheckinStartReport), VERDICT};
constexpr Request CHECKIN_STOP_REPORT = {AI_MSG_CHECKIN_STOP_REPORT, FACE, 0, VERDICT};
constexpr Request CHECKIN_QUERY_DATA = {AI_MSG_CHECKIN_QUERY_DATA, FACE, sizeof(CheckinDataQuery), DATA,
                                        sizeof(tagCheckinTotalData)};
constexpr Request CHECKIN_QUERY_PHOTO = {AI_MSG_CHECKIN_QUERY_PHOTO, FACE, sizeof(CheckinPhotoQuery), DATA, VARIABLE};
constexpr Request CHECKIN_STOP = {AI_MSG_CHECKIN_STOP, FACE, 0, VERDICT};
constexpr Request CHECKIN_CLEAR_DATA = {AI_MSG_CHECKIN_CLEAR_DATA, FACE, 0, VERDICT};
constexpr Request CHECKIN_DEINIT = {AI_MSG_CHECKIN_DEINIT, FACE, ADDRESS, VERDICT};

constexpr Request MINUTES_START = {AI_MSG_MINUTES_START, INTERFACE, sizeof(MinutesStartRequest), VERDICT};
constexpr Request MINUTES_STOP = {AI_MSG_MINUTES_STOP, INTERFACE, 0, VERDICT};

constexpr Request LLM_ABILITY = {AI_MSG_LLM_ABILITY, OM, 0, DATA, sizeof(OrviAiLLMReply)};
constexpr Request LLM_INIT = {AI_MSG_LLM_INIT, INTERFACE, sizeof(OrviAiLLMInitParams), DATA};
constexpr Request LLM_REQUEST = {AI_MSG_LLM_REQUEST, INTERFACE, sizeof(OrviAiModelParams), DATA,
                                 sizeof(OrviAiLLMReply)};
constexpr Request LLM_DEINIT = {AI_MSG_LLM_DEINIT, INTERFACE, sizeof(OrviAiLLMInitParams), DATA,
                                sizeof(OrviAiLLMReply)};

constexpr Request INIT_INTENT = {AI_MSG_ASSISTANT_INIT_INTENT, ASSISTANT, VARIABLE, ONE_WAY};
constexpr Request REQUEST_TTS = {AI_MSG_ASSISTANT_REQUEST_TTS, STATE_MACHINE, sizeof(AssistantTtsRequest), ONE_WAY};
constexpr Request NOTIFY_INTENT_RESULT = {AI_MSG_ASSISTANT_NOTIFY_INTENT_RESULT, ASSISTANT,
                                          sizeof(AssistantIntentAnswer), ONE_WAY};
constexpr Request DISPLAY_CARD = {AI_MSG_ASSISTANT_DISPLAY_CARD, ASSISTANT, sizeof(AssistantCardRequest), ONE_WAY};
constexpr Request CHOOSE_ITEM = {AI_MSG_ASSISTANT_CHOOSE_ITEM, ASSISTANT, sizeof(AssistantChoice), ONE_WAY};
constexpr Request SLEEP = {AI_MSG_ASSISTANT_SLEEP, ASSISTANT, 0, ONE_WAY};
constexpr Request WAKE_UP = {AI_MSG_ASSISTANT_WAKE_UP, ASSISTANT, NUMBER, ONE_WAY};
constexpr Request SET_PAGE_INFO = {AI_MSG_ASSISTANT_SET_PAGE_INFO, ASSISTANT, sizeof(OrviAiAssistantPageInfo), ONE_WAY};
constexpr Request GET_PAGE_INFO = {AI_MSG_ASSISTANT_GET_PAGE_INFO, ASSISTANT_QUERY, 0, DATA,
                                   sizeof(OrviAiAssistantPageInfo)};
constexpr Request GET_STATUS = {AI_MSG_ASSISTANT_GET_STATUS, ASSISTANT_QUERY, 0, DATA, sizeof(OrviAiAssistantStatus)};
constexpr Request INIT_KEY_WORD = {AI_MSG_ASSISTANT_INIT_KEY_WORD, HOT_WORD, VARIABLE, ONE_WAY};
constexpr Request UPDATE_KEY_WORD = {AI_MSG_ASSISTANT_UPDATE_KEY_WORD, HOT_WORD, VARIABLE, ONE_WAY};
constexpr Request UPDATE_KEY_WORD_TYPE1 = {AI_MSG_ASSISTANT_UPDATE_KEY_WORD_TYPE1, HOT_WORD, VARIABLE, ONE_WAY};
constexpr Request UPDATE_KEY_WORD_TYPE2 = {AI_MSG_ASSISTANT_UPDATE_KEY_WORD_TYPE2, HOT_WORD, VARIABLE, ONE_WAY};

}  // namespace Requests
}  // namespace OrviAiService

#endif
