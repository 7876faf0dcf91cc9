// Every message that the library sends, one row each: the only place that says where it goes, how long it waits, what
// it carries and which reply makes it a success.
#ifndef ORVI_PROXY_REQUEST_ROWS_H
#define ORVI_PROXY_REQUEST_ROWS_H

#include "message_ids.h"
#include "orvi_ai_srv_proxy_request.h"
#include "wire_records.h"

namespace OrviAiService {

// Each is named for the function whose lines it writes.
namespace Senders {
extern const Sender AiSrvSendInitMsgToVision;
extern const Sender AiSrvSendUninitMsgToVision;
extern const Sender SendAsynMsgToVision;
extern const Sender SendSynMsgToVision;
extern const Sender SendSynMsgToVisionOm;
extern const Sender SendSynMsgToVisionFaceTask;
extern const Sender RemoveDetectTrackProxy;
extern const Sender StartDetectTrackProxy;
extern const Sender StopDetectTrackProxy;
extern const Sender GetFaceDetectorById;
extern const Sender DirectorSendMsgToVision;
extern const Sender AiLockStateChange;
extern const Sender SendMsgToVisionAssistant;
extern const Sender SendMsgToVisionAssistantFsm;
extern const Sender SendMsgToVisionAssistantHotword;
extern const Sender SendSyncMsgToVisionAssistant;
}  // namespace Senders

namespace Requests {

// The ways to the service's tasks: task, wait in milliseconds, sender.
inline constexpr Channel INIT = {TASK_MASTER, WAIT_NONE, Senders::AiSrvSendInitMsgToVision};
inline constexpr Channel UNINIT = {TASK_MASTER, WAIT_NONE, Senders::AiSrvSendUninitMsgToVision};
inline constexpr Channel INTERFACE = {TASK_INTERFACE, WAIT_REPLY, Senders::SendSynMsgToVision};
inline constexpr Channel INTERFACE_LONG = {TASK_INTERFACE, WAIT_BUS_LIMIT, Senders::SendSynMsgToVision};
inline constexpr Channel DETECTOR_DESTROYING = {TASK_INTERFACE, WAIT_BUS_LIMIT, Senders::RemoveDetectTrackProxy};
inline constexpr Channel DETECTOR_STARTING = {TASK_INTERFACE, WAIT_BUS_LIMIT, Senders::StartDetectTrackProxy};
inline constexpr Channel DETECTOR_STOPPING = {TASK_INTERFACE, WAIT_BUS_LIMIT, Senders::StopDetectTrackProxy};
inline constexpr Channel PHOTOS = {TASK_INTERFACE, WAIT_BUS_LIMIT, Senders::GetFaceDetectorById};
inline constexpr Channel OM = {TASK_OM, WAIT_REPLY, Senders::SendSynMsgToVisionOm};
inline constexpr Channel FACE = {TASK_FACE, WAIT_REPLY, Senders::SendSynMsgToVisionFaceTask};
inline constexpr Channel DIRECTOR = {TASK_DIRECTOR, WAIT_BUS_LIMIT, Senders::DirectorSendMsgToVision};
inline constexpr Channel LOCK_STATE = {TASK_DIRECTOR, WAIT_BUS_LIMIT, Senders::AiLockStateChange};
inline constexpr Channel ASSISTANT = {TASK_ASSISTANT, WAIT_NONE, Senders::SendMsgToVisionAssistant};
inline constexpr Channel ASSISTANT_QUERY = {TASK_ASSISTANT, WAIT_REPLY, Senders::SendSyncMsgToVisionAssistant};
inline constexpr Channel STATE_MACHINE = {TASK_STATE_MACHINE, WAIT_NONE, Senders::SendMsgToVisionAssistantFsm};
inline constexpr Channel HOT_WORD = {TASK_HOT_WORD, WAIT_NONE, Senders::SendMsgToVisionAssistantHotword};

constexpr uint32_t ADDRESS = sizeof(tagAiTaskBasicInfo);
constexpr uint32_t DETECTOR = sizeof(tagAiDetClientInfo);
constexpr uint32_t NUMBER = sizeof(int32_t);

// The rows: id, channel, bytes of the payload, which reply is a success, most bytes of a reply that is copied.
inline constexpr Request CLIENT_INIT = {AI_MSG_INIT, INIT, ADDRESS, ONE_WAY};
inline constexpr Request CLIENT_UNINIT = {AI_MSG_UNINIT, UNINIT, ADDRESS, ONE_WAY};

inline constexpr Request DETECTOR_CREATE = {AI_MSG_DETECT_TRACK_CREATE, INTERFACE_LONG, sizeof(tagAiCreateDetTrack),
                                            DATA, DETECTOR};
inline constexpr Request DETECTOR_DESTROY = {AI_MSG_DETECT_TRACK_DESTROY, DETECTOR_DESTROYING, DETECTOR, BLOCK,
                                             DETECTOR};
inline constexpr Request DETECTOR_START = {AI_MSG_DETECT_TRACK_START, DETECTOR_STARTING, DETECTOR, BLOCK, DETECTOR};
inline constexpr Request DETECTOR_STOP = {AI_MSG_DETECT_TRACK_STOP, DETECTOR_STOPPING, DETECTOR, BLOCK, DETECTOR};
inline constexpr Request FACE_GET_BY_ID = {AI_MSG_FACE_GET_BY_ID, PHOTOS, sizeof(tagAiFaceQuery), BLOCK};

inline constexpr Request CAPTION_INIT = {AI_MSG_CAPTION_INIT, INTERFACE, ADDRESS, VERDICT};
inline constexpr Request CAPTION_START = {AI_MSG_CAPTION_START, INTERFACE, sizeof(tagAiCaptionStart), VERDICT};
inline constexpr Request CAPTION_STOP = {AI_MSG_CAPTION_STOP, INTERFACE, ADDRESS, VERDICT};
inline constexpr Request CAPTION_DEINIT = {AI_MSG_CAPTION_DEINIT, INTERFACE, 0, VERDICT};

inline constexpr Request NAMEPLATE_INIT = {AI_MSG_NAMEPLATE_INIT, FACE, 0, VERDICT};
inline constexpr Request NAMEPLATE_DEINIT = {AI_MSG_NAMEPLATE_DEINIT, FACE, 0, VERDICT};
inline constexpr Request NAMEPLATE_START = {AI_MSG_NAMEPLATE_START, FACE, ADDRESS, VERDICT};
inline constexpr Request NAMEPLATE_STOP = {AI_MSG_NAMEPLATE_STOP, FACE, ADDRESS, VERDICT};

inline constexpr Request DIRECTOR_CREATE = {AI_MSG_DIRECTOR_CREATE, DIRECTOR, NUMBER, BLOCK};
inline constexpr Request DIRECTOR_REMOVE = {AI_MSG_DIRECTOR_REMOVE, DIRECTOR, NUMBER, BLOCK};
inline constexpr Request DIRECTOR_START = {AI_MSG_DIRECTOR_START, DIRECTOR, NUMBER, BLOCK};
inline constexpr Request DIRECTOR_STOP = {AI_MSG_DIRECTOR_STOP, DIRECTOR, NUMBER, BLOCK};
inline constexpr Request LOCK_STATE_CHANGE = {AI_MSG_LOCK_STATE_CHANGE, LOCK_STATE, NUMBER, BLOCK};

inline constexpr Request CHECKIN_INIT = {AI_MSG_CHECKIN_INIT, FACE, ADDRESS, VERDICT};
inline constexpr Request CHECKIN_START = {AI_MSG_CHECKIN_START, FACE, sizeof(tagOrviAiConfIdInfo), VERDICT};
inline constexpr Request CHECKIN_START_REPORT = {AI_MSG_CHECKIN_START_REPORT, FACE, sizeof(CheckinStartReport),
                                                 VERDICT};
inline constexpr Request CHECKIN_STOP_REPORT = {AI_MSG_CHECKIN_STOP_REPORT, FACE, 0, VERDICT};
inline constexpr Request CHECKIN_QUERY_DATA = {AI_MSG_CHECKIN_QUERY_DATA, FACE, sizeof(CheckinDataQuery), DATA,
                                               sizeof(tagCheckinTotalData)};
inline constexpr Request CHECKIN_QUERY_PHOTO = {AI_MSG_CHECKIN_QUERY_PHOTO, FACE, sizeof(CheckinPhotoQuery), DATA,
                                                VARIABLE};
inline constexpr Request CHECKIN_STOP = {AI_MSG_CHECKIN_STOP, FACE, 0, VERDICT};
inline constexpr Request CHECKIN_CLEAR_DATA = {AI_MSG_CHECKIN_CLEAR_DATA, FACE, 0, VERDICT};
inline constexpr Request CHECKIN_DEINIT = {AI_MSG_CHECKIN_DEINIT, FACE, ADDRESS, VERDICT};

inline constexpr Request MINUTES_START = {AI_MSG_MINUTES_START, INTERFACE, sizeof(MinutesStartRequest), VERDICT};
inline constexpr Request MINUTES_STOP = {AI_MSG_MINUTES_STOP, INTERFACE, 0, VERDICT};

inline constexpr Request LLM_ABILITY = {AI_MSG_LLM_ABILITY, OM, 0, DATA, sizeof(OrviAiLLMReply)};
inline constexpr Request LLM_INIT = {AI_MSG_LLM_INIT, INTERFACE, sizeof(OrviAiLLMInitParams), DATA};
inline constexpr Request LLM_REQUEST = {AI_MSG_LLM_REQUEST, INTERFACE, sizeof(OrviAiModelParams), DATA,
                                        sizeof(OrviAiLLMReply)};
inline constexpr Request LLM_DEINIT = {AI_MSG_LLM_DEINIT, INTERFACE, sizeof(OrviAiLLMInitParams), DATA,
                                       sizeof(OrviAiLLMReply)};

inline constexpr Request INIT_INTENT = {AI_MSG_ASSISTANT_INIT_INTENT, ASSISTANT, VARIABLE, ONE_WAY};
inline constexpr Request REQUEST_TTS = {AI_MSG_ASSISTANT_REQUEST_TTS, STATE_MACHINE, sizeof(AssistantTtsRequest),
                                        ONE_WAY};
inline constexpr Request NOTIFY_INTENT_RESULT = {AI_MSG_ASSISTANT_NOTIFY_INTENT_RESULT, ASSISTANT,
                                                 sizeof(AssistantIntentAnswer), ONE_WAY};
inline constexpr Request DISPLAY_CARD = {AI_MSG_ASSISTANT_DISPLAY_CARD, ASSISTANT, sizeof(AssistantCardRequest),
                                         ONE_WAY};
inline constexpr Request CHOOSE_ITEM = {AI_MSG_ASSISTANT_CHOOSE_ITEM, ASSISTANT, sizeof(AssistantChoice), ONE_WAY};
inline constexpr Request SLEEP = {AI_MSG_ASSISTANT_SLEEP, ASSISTANT, 0, ONE_WAY};
inline constexpr Request WAKE_UP = {AI_MSG_ASSISTANT_WAKE_UP, ASSISTANT, NUMBER, ONE_WAY};
inline constexpr Request SET_PAGE_INFO = {AI_MSG_ASSISTANT_SET_PAGE_INFO, ASSISTANT, sizeof(OrviAiAssistantPageInfo),
                                          ONE_WAY};
inline constexpr Request GET_PAGE_INFO = {AI_MSG_ASSISTANT_GET_PAGE_INFO, ASSISTANT_QUERY, 0, DATA,
                                          sizeof(OrviAiAssistantPageInfo)};
inline constexpr Request GET_STATUS = {AI_MSG_ASSISTANT_GET_STATUS, ASSISTANT_QUERY, 0, DATA,
                                       sizeof(OrviAiAssistantStatus)};
inline constexpr Request INIT_KEY_WORD = {AI_MSG_ASSISTANT_INIT_KEY_WORD, HOT_WORD, VARIABLE, ONE_WAY};
inline constexpr Request UPDATE_KEY_WORD = {AI_MSG_ASSISTANT_UPDATE_KEY_WORD, HOT_WORD, VARIABLE, ONE_WAY};
inline constexpr Request UPDATE_KEY_WORD_TYPE1 = {AI_MSG_ASSISTANT_UPDATE_KEY_WORD_TYPE1, HOT_WORD, VARIABLE, ONE_WAY};
inline constexpr Request UPDATE_KEY_WORD_TYPE2 = {AI_MSG_ASSISTANT_UPDATE_KEY_WORD_TYPE2, HOT_WORD, VARIABLE, ONE_WAY};

}  // namespace Requests
}  // namespace OrviAiService

#endif
