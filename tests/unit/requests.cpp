#include "requests.h"

#include <cstdlib>
#include <string>

#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

// --- Channels ---

const Channel INTERFACE = {
    "ai_v_task_i",
    3000,
    "info <AiSrvServiceProxy::SendSynMsgToVision> send msg: recvProc=AI_VISION. recvTask={task}.",
    "info <AiSrvServiceProxy::SendSynMsgToVision> SendSynMsg {id} to Vision> Success!",
    "error <AiSrvServiceProxy::SendSynMsgToVision> failed: msg {id} call OsMsgSynSend failed -8, waitTime {wait}.",
    "error <AiSrvServiceProxy::SendSynMsgToVision> failed: can not get msg {id} response",
    "error <SetDefaultIntefMsgBlockToMaster> failed: call memcpy_s failed.\n"
    "error <AiSrvServiceProxy::SendSynMsgToVision>: call SetDefaultMsgBlockToMaster failed. msgId: {number}.",
};

// Creates a detector: the wait is the bus's own.
const Channel CREATE = [] {
    Channel channel = INTERFACE;
    channel.waitMs = 0;
    return channel;
}();

const Channel OM = [] {
    Channel channel = INTERFACE;
    channel.task = "ai_om_task";
    channel.unnamed =
        "error <SetDefaultOmMsgBlockToMaster> failed: call memcpy_s failed.\n"
        "error <AiSrvServiceProxy::SendSynMsgToVision>: call SetDefaultOmMsgBlockToMaster failed. msgId: {number}.";
    return channel;
}();

// A channel whose lines stand under the name of its user.
Channel Of(const Channel& lines, const char* sender, const char* what) {
    Channel channel = lines;
    channel.sender = sender;
    channel.what = what;
    return channel;
}

// On an existing detector.
const Channel DETECTOR = {
    "ai_v_task_i",
    0,
    "info <AiSrvServiceProxy::{sender}> send {what} detecttrack msg.",
    "info <AiSrvServiceProxy::{sender}> get msg response: {id}.",
    "error <AiSrvServiceProxy::{sender}> failed: call OsMsgSynSend failed.",
    "error <AiSrvServiceProxy::{sender}> failed: can not get msg response {id}.",
    "error <SetDefaultIntefMsgBlockToMaster> failed: call memcpy_s failed.\n"
    "error <AiSrvServiceProxy::{sender}> failed: call SetDefaultMsgBlockToMaster failed.",
    true,
};
const Channel DESTROY = Of(DETECTOR, "RemoveDetectTrackProxy", "destroy");
const Channel START = Of(DETECTOR, "StartDetectTrackProxy", "start");
const Channel STOP = Of(DETECTOR, "StopDetectTrackProxy", "stop");

const Channel FACE_QUERY = {
    "ai_face_task",
    3000,
    "",
    "info <SendSynMsgToVisionFaceTask> SendSynMsg {id} to Vision FaceTask> Success!",
    "error <SendSynMsgToVisionFaceTask> failed: msg {id} call OsMsgSynSend failed -8.",
    "error <SendSynMsgToVisionFaceTask> failed: can not get msg {id} response",
    "error <SetFaceTaskMsgBlockToMaster> failed: call memcpy_s failed.\n"
    "error <SendSynMsgToVisionFaceTask>: call SetFaceTaskMsgBlockToMaster failed. msgId: {number}.",
};

// Through SendSynMsgToFaceReturnInt, which reads the verdict and releases the reply before it logs.
const Channel FACE = [] {
    Channel channel = FACE_QUERY;
    channel.refused = "free reply\nerror <SendSynMsgToFaceReturnInt> msgId={id} response VOS_ERROR.";
    channel.notSent = "error <SendSynMsgToFaceReturnInt> call SendSynMsgToVision failed, msgId={id}.";
    return channel;
}();

const Channel VDIRECTOR = {
    "VDirector",
    0,
    "info <{sender}> AiSrvServiceProxy {what}: msgId={id}, recvProc=AI_VISION. recvTask=VDirector, recvCpu=0.",
    "info <{sender}> msgId={id}, get msg response.",
    "error <{sender}> OsMsgSynSend failed. msgId={id}, ret = -8",
    "error <{sender}> msgId={id}, can not get msg response.",
    "error <{sender}> failed: call memcpy_s set {field} failed.",
    true,
};
const Channel DIRECTOR = Of(VDIRECTOR, "DirectorSendMsgToVision", "send create-director-client msg");
const Channel LOCK_STATE = Of(VDIRECTOR, "AiLockStateChange", "send lock-state msg");

const Channel ASSISTANT = {
    "ai_assist_task",
    ONE_WAY,
    "",
    "info <SendMsgToVisionAssistant> SendSynMsg {id} to Vision> Success!",
    "error <SendMsgToVisionAssistant> failed: msg {id} call OsMsgSynSend failed -8.",
    "",
    "error <SendMsgToVisionAssistant> failed: call memcpy_s set {field} failed.",
};

const Channel STATE_MACHINE = {
    "ai_state_mach",
    ONE_WAY,
    "",
    "storm <SendMsgToVisionAssistantFsm> SendSynMsg {id} to Vision> Success!",
    "error <SendMsgToVisionAssistantFsm> failed: msg {id} call OsMsgSynSend failed -8.",
    "",
    "error <SendMsgToVisionAssistantFsm> failed: call memcpy_s set {field} failed.",
};

const Channel HOT_WORD = {
    "ai_hotword_task",
    ONE_WAY,
    "storm SendMsgToVisionAssistantHotword msgId {number}, msgDataLen {length}\n"
    "info SendMsgToVisionAssistantHotword msgId {number}, msgDataLen {length}",
    "info <SendMsgToVisionAssistantHotword> SendSynMsg 0x{id} to Vision> Success!",
    "error <SendMsgToVisionAssistantHotword> failed: msg 0x{id} call OsMsgSynSend failed -8.",
    "",
    "error <SendMsgToVisionAssistantHotword> failed: call memcpy_s set {field} failed.",
};

const Channel ASSISTANT_QUERY = {
    "ai_assist_task",
    3000,
    "",
    "",
    "error <SendSyncMsgToVisionAssistant> failed: msg {id} call OsMsgSynSend failed -8.",
    "error <SendSyncMsgToVisionAssistant> failed: can not get msg {id} response",
    "error <SendSyncMsgToVisionAssistant> failed: call memcpy_s set {field} failed.",
};

// --- Arguments ---

// The client's address once the library is initialised.
constexpr tagAiTaskBasicInfo OWN_ADDRESS = {"ai_vpp4711", "ai_vpt4711", 1};

AiSrvServiceProxy& Proxy() {
    return AiSrvServiceProxy::GetInstance();
}
void OnCaption(OrviAiCaptionEventId, void*) {}

// Where answers go: many threads may ask at once.
thread_local tagCheckinTotalData g_checkinData;
thread_local OrviAiAssistantPageInfo g_pageInfo;
thread_local tagOrviAiAbility g_ability;
std::string& g_words = *new std::string("hello");

// A detector that the service has never seen serves every request.
constexpr size_t DETECTOR_SIZE = 52;

int CreateDetector() {
    void* handle = nullptr;
    const int result = OrviAiSrvCreateFaceDetector(&handle, 0, 25, 0, [](tagOrviAiSrvFaceDetEvent*) {});
    free(handle);
    return result;
}
int DestroyDetector() {
    return OrviAiSrvDestroyFaceDetector(calloc(1, DETECTOR_SIZE));  // which releases it in any case
}
int StartDetector() {
    uint8_t detector[DETECTOR_SIZE] = {};
    return OrviAiSrvStartFaceDetector(detector);
}
int StopDetector() {
    uint8_t detector[DETECTOR_SIZE] = {};
    return OrviAiSrvStopFaceDetector(detector);
}
int StartCaptions() {
    tagOrviAiConfInfo conference = {};
    conference.text1[0] = conference.text2[0] = 'c';
    return OrviAiSrvCaptionStart(&conference, 1);
}
int GetPhoto() {
    uint8_t photo[16];
    uint32_t size = sizeof(photo);
    return OrviAiSrvGetCheckinPhoto("user", 4, photo, &size);
}
tagOrviAppInfo App() {
    tagOrviAppInfo info = {};
    info.appId[0] = 'a';
    return info;
}
// Bytes that tell their place: 0, 1, 2, ... Made once, so that a benchmark of a call measures the call.
template <typename Record>
const Record& Counting() {
    static const Record filled = [] {
        Record record;
        auto* const bytes = reinterpret_cast<uint8_t*>(&record);
        for (size_t i = 0; i < sizeof(record); ++i) {
            bytes[i] = static_cast<uint8_t>(i);
        }
        return record;
    }();
    return filled;
}
template <typename Record>
std::vector<uint8_t> Bytes(const Record& record) {
    const auto* const first = reinterpret_cast<const uint8_t*>(&record);
    return {first, first + sizeof(record)};
}
int GetStatus() {
    OrviAiAssistantStatus status;
    return Proxy().AssistantGetStatus(status);
}
int InitIntent() {
    OrviAiAssistantIntentName name = {};
    return OrviAiAssistantInitIntent(&name, 1);
}

// --- Requests ---
// name, call, channel, id, payload, copies before the receiver's names, answer,
// begin, end, not sent, refused, failed, payload

const std::vector<Request>& ALL = *new std::vector<Request>{
    {"OrviAiSrvCreateFaceDetector", CreateDetector, CREATE, 0x600002, 48, 2, 52,
     "info <{name}> create face detector request begin: sourceId=0, frameRate=25, neeedReID=0.",
     "info <AiSrvServiceProxy::CreateDetectTrackProxy> succeed: client info, proc=, task=, cpu=0.\n"
     "info <{name}> succeed: client info, proc=, task=, cpu=0.\n"
     "info <{name}> create face detector request succeed.",
     "error <AiSrvServiceProxy::CreateDetectTrackProxy> call SendSynMsgToVision failed.",
     "error <AiSrvServiceProxy::CreateDetectTrackProxy> failed: call memcpy_s failed.",
     "error <{name}> create face detector failed: call CreateDetectTrackProxy failed."},
    {"OrviAiSrvDestroyFaceDetector", DestroyDetector, DESTROY, 0x600003, 52, 0, 52,
     "info <{name}> destroy face detector request begin.", "info <{name}> destroy face detector request succeed.", "",
     "error <AiSrvServiceProxy::RemoveDetectTrackProxy> failed: call memcpy_s failed.",
     "error <{name}> destory face detector failed: call RemoveDetectTrackProxy failed."},
    {"OrviAiSrvStartFaceDetector", StartDetector, START, 0x600004, 52, 0, 52,
     "info <{name}> start face detector request begin.\n"
     "info <{name}> succeed: client info, proc=, task=, cpu=0, sourceId=0, status=0",
     "info <{name}> start face detector request succeed.", "",
     "error <AiSrvServiceProxy::StartDetectTrackProxy> failed: call memcpy_s failed.",
     "error <{name}> start face detector failed: call StartDetectTrackProxy failed."},
    {"OrviAiSrvStopFaceDetector", StopDetector, STOP, 0x600005, 52, 0, 52,
     "info <{name}> stop face detector request begin.", "info <{name}> stop face detector request succeed.", "",
     "error <AiSrvServiceProxy::StopDetectTrackProxy> failed: call memcpy_s failed.",
     "error <{name}> stop face detector failed: call StopDetectTrackProxy failed."},

    {"OrviAiSrvCaptionInit", [] { return OrviAiSrvCaptionInit(OnCaption); }, INTERFACE, 0x600014, 36, 2, VERDICT,
     "info <{name}> init request begin.\n"
     "info <AiSrvServiceProxy::CaptionInit> enter CaptionInit",
     "info <{name}> succeed.", "error <AiSrvServiceProxy::CaptionInit> call SendSynMsgToVision failed.",
     "error <AiSrvServiceProxy::CaptionInit> failed: response ret is error.", "error <{name}> init request failed."},
    {"OrviAiSrvCaptionStart", StartCaptions, INTERFACE, 0x600015, 496, 3, VERDICT,
     "info <{name}> start request begin.\n"
     "info <AiSrvServiceProxy::StartCaptionProxy> enter StartCaptionProxy",
     "info <{name}> start Caption request succeed.",
     "error <AiSrvServiceProxy::StartCaptionProxy> call SendSynMsgToVision failed.",
     "error <AiSrvServiceProxy::StartCaptionProxy> failed: response ret is error.",
     "error <{name}> start Caption failed: call StartCaptionProxy failed."},
    {"OrviAiSrvCaptionStop", OrviAiSrvCaptionStop, INTERFACE, 0x600016, 36, 2, VERDICT,
     "info <{name}> stop Caption request begin.", "info <{name}> stop Caption request succeed.",
     "error <AiSrvServiceProxy::StopCaptionProxy> call SendSynMsgToVision failed.",
     "error <AiSrvServiceProxy::StopCaptionProxy> failed: response ret is error.",
     "error <{name}> stop Caption failed: call StopCaptionProxy failed."},
    {"OrviAiSrvCaptionDeInit", OrviAiSrvCaptionDeInit, INTERFACE, 0x600017, 0, 0, VERDICT,
     "info <{name}> deinit request begin.\n"
     "info <AiSrvServiceProxy::CaptionDeinit> enter CaptionDeinit",
     "info <{name}> succeed.", "error <AiSrvServiceProxy::CaptionDeinit> call SendSynMsgToVision failed.",
     "error <AiSrvServiceProxy::CaptionDeinit> failed: response ret is error.",
     "error <{name}> deinit request failed."},

    {"OrviAiSrvNamePlateInit", OrviAiSrvNamePlateInit, FACE, 0x60001A, 0, 0, VERDICT,
     "info <{name}> init request begin.\n"
     "info <AiSrvServiceProxy::NameplateInit> enter NameplateInit",
     "info <{name}> succeed.", "", "", "error <{name}> init request failed."},
    {"OrviAiSrvNamePlateDeInit", OrviAiSrvNamePlateDeInit, FACE, 0x60001B, 0, 0, VERDICT,
     "info <{name}> deinit request begin.\n"
     "info <AiSrvServiceProxy::NameplateDeinit> enter NameplateDeinit",
     "info <{name}> succeed.", "", "", "error <{name}> deinit request failed."},
    {"OrviAiSrvNamePlateStart", OrviAiSrvNamePlateStart, FACE, 0x60001C, 36, 2, VERDICT,
     "info <{name}> start nameplate request begin.", "info <{name}> start nameplate request succeed.", "", "",
     "error <{name}> start nameplate failed: call StartNameplateProxy failed."},
    {"OrviAiSrvNamePlateStop", OrviAiSrvNamePlateStop, FACE, 0x60001D, 36, 2, VERDICT,
     "info <{name}> stop nameplate request begin.", "info <{name}> stop nameplate request succeed.", "", "",
     "error <{name}> stop nameplate failed: call StopNameplateProxy failed."},

    {"CreateDirectorTrackProxy", [] { return Proxy().CreateDirectorTrackProxy(); }, DIRECTOR, 0x600007, 4, 0, ANY,
     "info <AiSrvServiceProxy::{name}> send create director msg", "", "", "",
     "error <AiSrvServiceProxy::{name}> DirectorSendMsgToVision failed.", Bytes(0)},
    {"RemoveDirectorTrackProxy", [] { return Proxy().RemoveDirectorTrackProxy(); }, DIRECTOR, 0x600008, 4, 0, ANY,
     "info <AiSrvServiceProxy::{name}> send  remove director msg.", "", "", "",
     "error <AiSrvServiceProxy::{name}> DirectorSendMsgToVision failed.", Bytes(0)},
    {"OrviAiSrvDirectorStart", OrviAiSrvDirectorStart, DIRECTOR, 0x600009, 4, 0, ANY,
     "info <{name}> start director request begin.\n"
     "info <AiSrvServiceProxy::StartDirectorTrackProxy> send start director msg.",
     "info <{name}> start director request succeed.",
     "error <AiSrvServiceProxy::StartDirectorTrackProxy> DirectorSendMsgToVision failed.", "",
     "error <{name}> StartDirectorTrackProxy failed.", Bytes(0)},
    {"OrviAiSrvDirectorStop", OrviAiSrvDirectorStop, DIRECTOR, 0x60000A, 4, 0, ANY,
     "info <{name}> stop director request begin.\n"
     "info <AiSrvServiceProxy::StopDirectorTrackProxy> send stop director msg.",
     "info <{name}> stop director request succeed.",
     "error <AiSrvServiceProxy::StopDirectorTrackProxy> DirectorSendMsgToVision failed.", "",
     "error <{name}> StopDirectorTrackProxy failed.", Bytes(0)},
    {"OrviAiLockStateChange", [] { return OrviAiLockStateChange(-7); }, LOCK_STATE, 0x60006F, 4, 0, ANY,
     "info <{name}> begin.\n"
     "info <AiSrvServiceProxy::AiLockStateChange> send msg.",
     "info <{name}> succeed.", "", "", "error <{name}> AiLockStateChange failed.", Bytes(-7)},

    {"OrviAiSrvCheckInInit", OrviAiSrvCheckInInit, FACE, 0x600022, 36, 2, VERDICT,
     "info <{name}> init request begin.\n"
     "info <CheckInInit> enter",
     "", "", "", "error <{name}> init request failed."},
    {"OrviAiSrvCheckInStart", [] { return OrviAiSrvCheckInStart({}); }, FACE, 0x600023, 1152, 0, VERDICT,
     "info <{name}> init request begin.\n"
     "info <CheckInStart> enter",
     "", "", "", "error <{name}> init request failed."},
    {"OrviAiSrvCheckInStartReport", [] { return OrviAiSrvCheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, {}); }, FACE,
     0x600024, 1156, 5, VERDICT, "", "", "", "", "error <{name}> init request failed."},
    {"OrviAiSrvCheckInStopReport", OrviAiSrvCheckInStopReport, FACE, 0x600025, 0, 0, VERDICT,
     "info <{name}> init request begin.\n"
     "info <CheckInStoptReport> enter",
     "", "", "", "error <{name}> init request failed."},
    {"OrviAiSrvGetCheckinData", [] { return OrviAiSrvGetCheckinData(&g_checkinData, ORVI_AI_CHECKIN_SHOW_0, 1); },
     FACE_QUERY, 0x600026, 8, 0, 33164, "", "", "error <QueryCheckInData> call SendSynMsgToVision failed.",
     "error <QueryCheckInData> call memcpy_s failed.", "error <{name}> init request failed."},
    {"OrviAiSrvGetCheckinPhoto", GetPhoto, FACE_QUERY, 0x600027, 260, 1, 16, "", "",
     "error <QueryCheckInPhoto> call SendSynMsgToVision failed.", "error <QueryCheckInPhoto> call memcpy_s failed.",
     "error <{name}> init request failed."},
    {"OrviAiSrvCheckInStop", OrviAiSrvCheckInStop, FACE, 0x600028, 0, 0, VERDICT,
     "info <{name}> init request begin.\n"
     "info <CheckInStop> enter",
     "", "", "", "error <{name}> init request failed."},
    {"OrviAiSrvCheckInClearData", OrviAiSrvCheckInClearData, FACE, 0x600029, 0, 0, VERDICT,
     "info <{name}> init request begin.\n"
     "info <CheckInClearData> enter",
     "", "", "", "error <{name}> init request failed."},
    {"OrviAiSrvCheckInDeinit", OrviAiSrvCheckInDeinit, FACE, 0x60002A, 36, 2, VERDICT,
     "info <{name}> init request begin.\n"
     "info <CheckInDeinit> enter",
     "", "", "", "error <{name}> init request failed."},

    {"OrviAiSrvSignatureStart", [] { return OrviAiSrvSignatureStart(Counting<tagOrviAiMinutesConfInfo>()); }, INTERFACE,
     0x600035, 1196, 4, VERDICT,
     "info <OrviAiSrvMinutesStart> MinutesStart begin.\n"
     "info <AiSrvMinutesStart> enter AiSrvMinutesStart",
     "", "error <AiSrvMinutesStart> call SendSynMsgToVision failed.",
     "error <AiSrvMinutesStart> failed: response ret is error.", "",
     Bytes(MinutesStartRequest{OWN_ADDRESS, Counting<tagOrviAiMinutesConfInfo>()})},
    {"OrviAiSrvSignatureStop", OrviAiSrvSignatureStop, INTERFACE, 0x600036, 0, 0, VERDICT,
     "info <OrviAiSrvMinutesStop> MinutesStop begin.\n"
     "info <AiSrvMinutesStop> enter AiSrvMinutesStop",
     "", "error <AiSrvMinutesStop> call SendSynMsgToVision failed.",
     "error <AiSrvMinutesStop> failed: response ret is error.", ""},

    {"OrviAiSrvLargeModelInit", [] { return OrviAiSrvLargeModelInit(Counting<OrviAiLLMInitParams>()); }, INTERFACE,
     0x60003B, 580, 0, ANY,
     "info <{name}> init. serverType[50462976]\n"
     "info <AiSrvServiceProxy::LargeModelInit> enter serverType[50462976]",
     "info <{name}> succeed.", "error <LargeModelInit> call SendSynMsgToVision failed.", "",
     "error <{name}> init request failed.", Bytes(Counting<OrviAiLLMInitParams>())},
    {"OrviAiSrvLargeModelRequest", [] { return OrviAiSrvLargeModelRequest(Counting<OrviAiModelParams>()); }, INTERFACE,
     0x60003C, 4692, 0, 52,
     "info <{name}> in.\n"
     "info {name} type=185207048\n"
     "info <AiSrvServiceProxy::LargeModelRequest> enter",
     "", "error <LargeModelRequest> call SendSynMsgToVision failed.",
     "error <AiSrvServiceProxy::LargeModelRequest> failed: call memcpy_s failed.", "error <{name}> request failed.",
     Bytes(Counting<OrviAiModelParams>())},
    {"OrviAiSrvLargeModelDeInit", [] { return OrviAiSrvLargeModelDeInit(Counting<OrviAiLLMInitParams>()); }, INTERFACE,
     0x60003D, 580, 0, 52,
     "info <{name}> in.\n"
     "info <AiSrvServiceProxy::LargeModelDeInit> enter",
     "info <{name}> succeed.", "error <LargeModelDeInit> call SendSynMsgToVision failed.",
     "error <AiSrvServiceProxy::LargeModelDeInit> failed: call memcpy_s failed.",
     "error <{name}> LargeModelDeInit failed.", Bytes(Counting<OrviAiLLMInitParams>())},
    {"GetLargeModelAbility", [] { return Proxy().GetLargeModelAbility(&g_ability); }, OM, 0x60003A, 0, 0, 52, "", "",
     "error <AiSrvServiceProxy::{name}> SendSynMsgToVision msg:0x{id} failed. ret:-1",
     "error <AiSrvServiceProxy::{name}> failed: call memcpy_s failed.", ""},

    {"OrviAiAssistantInitKeyWord", [] { return OrviAiAssistantInitKeyWord(App()); }, HOT_WORD, 0x600060, 17, 2, ANY,
     "storm {name} enter", "", "error <AssistantInitKeyWord> SendSynMsg failed. appId[a]", "",
     "error <{name}> request failed."},
    {"OrviAiAssistantUpdateKeyWord",
     [] { return OrviAiAssistantUpdateKeyWord(App(), ORVI_AI_HOTWORD_UPDATE_TYPE1, g_words); }, HOT_WORD, 0x600062, 23,
     4, ANY,
     "error {name} enter\n"
     "info <AssistantUpdateKeyWord> enter, type[1], appId[a]",
     "info <AssistantUpdateKeyWord> out, type[1], appId[a]",
     "error <AssistantUpdateKeyWord> SendSynMsg failed. msgId[0x{id}], type[1], appId[a]", "",
     "error <{name}> request failed."},
    {"OrviAiAssistantInitIntent", InitIntent, ASSISTANT, 0x600056, 260, 1, ANY,
     "storm {name} enter, intents num 1\n"
     "OsMemMallocSetCharMon 260",
     "OSMemTypeFreeMon",
     "OSMemTypeFreeMon\n"
     "error <AiSrvServiceProxy::AssistantInitIntent> call SendSynMsgToVision failed.",
     "", "error <{name}> request failed."},
    {"OrviAiAssistantRequestTts", [] { return OrviAiAssistantRequestTts(7, {}); }, STATE_MACHINE, 0x600057, 1032, 1,
     ANY,
     "storm {name} seq=7 tts: \n"
     "storm <AiSrvServiceProxy::AssistantRequestTts> enter",
     "", "error <AssistantRequestTts> call SendSynMsgToVision failed.", "", "error <{name}> request failed."},
    {"OrviAiAssistantNotifyIntentResult", [] { return OrviAiAssistantNotifyIntentResult(7, {}); }, ASSISTANT, 0x600058,
     1052, 1, ANY,
     "storm {name} seq=7 isFinal=0 isMulti=0 tts: \n"
     "storm <AiSrvServiceProxy::AssistantNotifyIntentResult> enter\n"
     "info <AiSrvServiceProxy::AssistantNotifyIntentResult> enter",
     "", "error <AssistantNotifyIntentResult> call SendSynMsgToVision failed.", "", "error <{name}> notify failed."},
    {"OrviAiAssistantDisplayCard",
     [] { return OrviAiAssistantDisplayCard(0xFFFFFFFF, Counting<OrviAiAssistantCard>()); }, ASSISTANT, 0x600059, 20880,
     1, ANY,
     "storm {name} seq=4294967295\n"
     "storm <AiSrvServiceProxy::AssistantDisplayCard> enter",
     "", "error <AssistantDisplayCard> call SendSynMsgToVision failed.", "", "error <{name}> display failed.",
     Bytes(AssistantCardRequest{0xFFFFFFFF, Counting<OrviAiAssistantCard>()})},
    {"OrviAiAssistantChooseItem", [] { return OrviAiAssistantChooseItem(7, 0xFFFFFFFE); }, ASSISTANT, 0x60005A, 272, 0,
     ANY,
     "storm {name} seq=7 itemId=4294967294\n"
     "storm <AiSrvServiceProxy::AssistantChooseItem> enter",
     "", "error <AssistantChooseItem> call SendSynMsgToVision failed.", "", "error <{name}> choose item failed.",
     Bytes(AssistantChoice{7, {}, 0xFFFFFFFE})},
    {"OrviAiAssistantSleep", OrviAiAssistantSleep, ASSISTANT, 0x60005B, 0, 0, ANY, "storm OrviAiAssistantSleep", "",
     "error <AssistantSleep> call SendSynMsgToVision failed.", "", "error <{name}> sleep failed."},
    {"OrviAiAssistantWakeUp", [] { return OrviAiAssistantWakeUp(static_cast<OrviAiAssistantRunningMode>(-2)); },
     ASSISTANT, 0x60005C, 4, 0, ANY, "storm OrviAiAssistantRunningMode mode=-2", "",
     "error <AssistantWakeUp> call SendSynMsgToVision failed.", "", "error <{name}> wake up failed.", Bytes(-2)},
    {"OrviAiAssistantSetPageInfo", [] { return OrviAiAssistantSetPageInfo(Counting<OrviAiAssistantPageInfo>()); },
     ASSISTANT, 0x60005D, 44, 0, ANY,
     "storm OrviAiAssistantSetPageInfo\n"
     "storm <AiSrvServiceProxy::AssistantSetPageInfo> enter",
     "", "error <AssistantSetPageInfo> call SendSynMsgToVision failed.", "", "error <{name}> set page info failed.",
     Bytes(Counting<OrviAiAssistantPageInfo>())},
    {"OrviAiAssistantGetPageInfo", [] { return OrviAiAssistantGetPageInfo(&g_pageInfo); }, ASSISTANT_QUERY, 0x60005E, 0,
     0, 44,
     "storm OrviAiAssistantGetPageInfo\n"
     "storm <AiSrvServiceProxy::AssistantGetPageInfo> enter",
     "", "error <AiSrvServiceProxy::AssistantGetPageInfo> call SendSynMsgToVision failed.",
     "error <AiSrvServiceProxy::AssistantGetPageInfo> failed: call memcpy_s failed.",
     "error <{name}> get page info failed."},
    {"AssistantGetStatus", GetStatus, ASSISTANT_QUERY, 0x60005F, 0, 0, 4, "", "",
     "error <AiSrvServiceProxy::{name}> call SendSynMsgToVision failed.",
     "error <AiSrvServiceProxy::{name}> failed: call memcpy_s failed.", ""},
};

}  // namespace

const std::vector<Request>& REQUESTS = ALL;
