// The exported methods of the proxy, called without the functions in front of them, which make -1 of any failure.
#include <cstring>
#include <string>

#include "fake_platform.h"
#include "orvi_ai_srv.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

int OnFace(AiSrvServiceProxy& proxy) {
    tagAiDetClientInfo info = {};
    return proxy.CreateDetectTrackProxy(info, 0, 1, false, [](tagOrviAiSrvFaceDetEvent*) {});
}

int Photos(AiSrvServiceProxy& proxy, int count) {
    tagAiDetClientInfo info = {};
    tagOrviAiSrvPhotoResult result = {};
    int ids[] = {1, 2, 3, 4, 5, 6};
    return proxy.GetFaceDetectorById(info, ids, count, &result);
}

int Caption(AiSrvServiceProxy& proxy, const char* text, uint8_t isReported) {
    tagOrviAiConfInfo conference = {};
    strcpy(conference.text1, text);
    strcpy(conference.text2, text);
    return proxy.StartCaptionProxy(&conference, isReported);
}

int Minutes(AiSrvServiceProxy& proxy) {
    static tagOrviAiMinutesConfInfo conference;
    return proxy.AiSrvMinutesStart(conference);
}

int HotWord(AiSrvServiceProxy& proxy, const std::string& id, bool isUpdate) {
    tagOrviAppInfo application = {};
    memcpy(application.appId, id.data(), id.size());
    std::string words = "lights";
    return isUpdate ? proxy.AssistantUpdateKeyWord(application, ORVI_AI_HOTWORD_UPDATE_TYPE1, words)
                    : proxy.AssistantInitKeyWord(application);
}

int Speech(AiSrvServiceProxy& proxy, char byte) {
    static OrviAiAssistantSpeechText speech;
    memset(&speech, byte, sizeof(speech));
    return proxy.AssistantRequestTts(1, speech);
}

int Result(AiSrvServiceProxy& proxy, char byte) {
    static OrviAiAssistantIntentResult result;
    memset(&result, byte, sizeof(result));
    return proxy.AssistantNotifyIntentResult(1, result);
}

int Intents(AiSrvServiceProxy& proxy, int count) {
    static OrviAiAssistantIntentName names[2];
    return proxy.AssistantInitIntent(count != 0 ? names : nullptr, count);
}

int CheckInData(AiSrvServiceProxy& proxy) {
    static tagCheckinTotalData data;
    return proxy.QueryCheckInData(&data, ORVI_AI_CHECKIN_SHOW_0, 1);
}

int Report(AiSrvServiceProxy& proxy, char byte) {
    static tagOrviAiConfIdInfo conference;
    memset(&conference, byte, sizeof(conference));
    return proxy.CheckInStartReport(tagOrviAiCheckinType{}, conference);
}

const std::string ENDLESS(128, 'x');

struct Row {
    const char* name;
    int (*call)(AiSrvServiceProxy& proxy);
};
const Row ROWS[] = {
    {"Initiate", [](auto& proxy) { return proxy.Initiate({}, [](OrviAiEventId, void*) {}); }},
    {"UnInitiate", [](auto& proxy) { return proxy.UnInitiate(); }},
    {"SendSynMsgToFaceReturnInt", [](auto& proxy) { return proxy.SendSynMsgToFaceReturnInt(0x600026, nullptr, 0); }},
    {"AiVisionProcResMsg", [](auto&) { return AiSrvServiceProxy::AiVisionProcResMsg(nullptr); }},
    {"RestoresMsgHandler", [](auto&) { return AiSrvServiceProxy::AiVisionProxyRestoresMsgHandler(nullptr); }},
    {"CreateDetectTrackProxy", OnFace},
    {"GetFaceDetectorById", [](auto& proxy) { return Photos(proxy, 1); }},
    {"six ids", [](auto& proxy) { return Photos(proxy, 6); }},
    {"CaptionInit", [](auto& proxy) { return proxy.CaptionInit(nullptr); }},
    {"CaptionDeinit", [](auto& proxy) { return proxy.CaptionDeinit(); }},
    {"StartCaptionProxy", [](auto& proxy) { return Caption(proxy, "x", 0); }},
    {"no conference", [](auto& proxy) { return proxy.StartCaptionProxy(nullptr, 0); }},
    {"empty conference", [](auto& proxy) { return Caption(proxy, "", 0); }},
    {"reported twice", [](auto& proxy) { return Caption(proxy, "x", 2); }},
    {"NameplateInit", [](auto& proxy) { return proxy.NameplateInit(); }},
    {"StartNameplateProxy", [](auto& proxy) { return proxy.StartNameplateProxy(); }},
    {"CreateDirectorTrackProxy", [](auto& proxy) { return proxy.CreateDirectorTrackProxy(); }},
    {"AiLockStateChange", [](auto& proxy) { return proxy.AiLockStateChange(1); }},
    {"CheckInInit", [](auto& proxy) { return proxy.CheckInInit(); }},
    {"CheckInStartReport", [](auto& proxy) { return Report(proxy, 0); }},
    {"endless conference", [](auto& proxy) { return Report(proxy, 'x'); }},
    {"QueryCheckInData", CheckInData},
    {"no room", [](auto& proxy) { return proxy.QueryCheckInData(nullptr, ORVI_AI_CHECKIN_SHOW_0, 1); }},
    {"no user", [](auto& proxy) { return proxy.QueryCheckInPhoto(nullptr, 0, nullptr, nullptr); }},
    {"AiSrvMinutesStart", Minutes},
    {"AiSrvMinutesStop", [](auto& proxy) { return proxy.AiSrvMinutesStop(); }},
    {"AssistantInitKeyWord", [](auto& proxy) { return HotWord(proxy, "app", false); }},
    {"AssistantUpdateKeyWord", [](auto& proxy) { return HotWord(proxy, "app", true); }},
    {"first endless id", [](auto& proxy) { return HotWord(proxy, ENDLESS, false); }},
    {"endless id", [](auto& proxy) { return HotWord(proxy, ENDLESS, true); }},
    {"first colon", [](auto& proxy) { return HotWord(proxy, "a:b", false); }},
    {"colon", [](auto& proxy) { return HotWord(proxy, "a:b", true); }},
    {"AssistantInitIntent", [](auto& proxy) { return Intents(proxy, 2); }},
    {"no intents", [](auto& proxy) { return Intents(proxy, 0); }},
    {"-1 intents", [](auto& proxy) { return Intents(proxy, -1); }},
    {"AssistantRequestTts", [](auto& proxy) { return Speech(proxy, 0); }},
    {"endless speech", [](auto& proxy) { return Speech(proxy, 'x'); }},
    {"AssistantNotifyIntentResult", [](auto& proxy) { return Result(proxy, 0); }},
    {"endless result", [](auto& proxy) { return Result(proxy, 'x'); }},
    {"AssistantSleep", [](auto& proxy) { return proxy.AssistantSleep(); }},
};

class Methods : public PlatformTest {};

// With nothing sent, and with each of the copies before that failing.
TEST_F(Methods, FailWithMinusOneAlone) {
    Init();
    AiSrvServiceProxy::isVisionOK = true;
    platform.asynSendResult = -5;
    for (const Row& row : ROWS) {
        for (int copy = 0; copy <= 6; ++copy) {
            platform.FailCopy(copy);
            EXPECT_EQ(row.call(proxy), -1) << row.name << ", copy " << copy;
        }
    }
}

}  // namespace
