// Whole transcripts of every request of the table: a success, and each way to fail.
#include "requests.h"

#include <algorithm>
#include <functional>
#include <map>
#include <sstream>

#include "fake_platform.h"
#include "orvi_ai_srv.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

std::string Number(const char* format, uint32_t value) {
    char text[16];
    snprintf(text, sizeof(text), format, value);
    return text;
}

class Requests : public PlatformTest {
 protected:
    // Makes the request and compares its transcript with the texts of the table, one after the other.
    void Expect(const Request& request, int result, const Lines& texts, const std::string& field = "") {
        EXPECT_EQ(request.call(), result);
        Lines expected;
        for (const std::string& text : texts) {
            std::istringstream stream(text);
            for (std::string line; std::getline(stream, line);) {
                Replace(line, "{name}", request.name);
                Replace(line, "{sender}", request.channel.sender);
                Replace(line, "{what}", request.channel.what);
                Replace(line, "{id}", Number("%x", request.id));
                Replace(line, "{number}", std::to_string(request.id));
                Replace(line, "{length}", std::to_string(request.length));
                Replace(line, "{field}", field);
                Replace(line, "{task}", request.channel.task);
                Replace(line, "{wait}", std::to_string(request.channel.waitMs));
                expected.push_back(line);
            }
        }
        EXPECT_EQ(platform.Take(), expected);
    }

    static std::string Sent(const Request& request) {
        const bool oneWay = request.channel.waitMs == ONE_WAY;
        const std::string message =
            Number("0x%06X ", request.id) + request.channel.task + " len=" + std::to_string(request.length);
        return oneWay ? "asyn " + message : "syn " + message + " wait=" + std::to_string(request.channel.waitMs);
    }

 private:
    static void Replace(std::string& line, const std::string& word, const std::string& value) {
        const size_t at = line.find(word);
        if (at != std::string::npos) {
            line.replace(at, word.size(), value);
        }
    }
};

TEST_F(Requests, Successes) {
    Init();
    for (const Request& r : REQUESTS) {
        SCOPED_TRACE(r.name);
        const bool oneWay = r.channel.waitMs == ONE_WAY;
        platform.QueueReply({0, 77});  // what follows a verdict is not read
        const std::string released = oneWay ? "" : "free reply";
        Expect(r, 0, {r.begin, r.channel.before, Sent(r), r.channel.success, released, r.end});
        EXPECT_EQ(platform.LastPayloadWasNull(), r.length == 0);
        if (r.length == sizeof(tagAiTaskBasicInfo)) {
            EXPECT_EQ(platform.LastPayload(), BytesOf(OWN_ADDRESS));
        }
        if (!r.payload.empty()) {
            EXPECT_EQ(platform.LastPayload(), r.payload);
        }
        platform.ForgetReplies();
    }
}

TEST_F(Requests, Refusals) {
    Init();
    for (const Request& r : REQUESTS) {
        SCOPED_TRACE(r.name);
        const Lines success = {r.begin, r.channel.before, Sent(r), r.channel.success, "free reply", r.end};
        const Lines refusal = {r.begin,   r.channel.before,  Sent(r), r.channel.success,
                               r.refused, r.channel.refused, r.failed};
        if (r.answer == VERDICT) {
            for (const Bytes& refused : {Bytes{2}, Bytes{255, 0}, Bytes{}}) {
                platform.QueueReply(refused);
                Expect(r, -1, refusal);
            }
        } else if (r.answer != ANY) {
            for (const int length : {0, r.answer}) {
                platform.QueueReply(Bytes(static_cast<size_t>(length), 0));
                Expect(r, 0, success);
            }
            platform.QueueReply(Bytes(static_cast<size_t>(r.answer) + 1, 0));
            Expect(r, -1, refusal);
        }
    }
}

TEST_F(Requests, SendsThatFail) {
    Init();
    for (const Request& r : REQUESTS) {
        SCOPED_TRACE(r.name);
        platform.asynSendResult = -8;
        platform.QueueSendFailure(-8);
        Expect(r, -1, {r.begin, r.channel.before, Sent(r), r.channel.failure, r.channel.notSent, r.notSent, r.failed});
        platform.ForgetReplies();
        platform.asynSendResult = 0;
        if (r.channel.waitMs == ONE_WAY) {
            continue;
        }
        platform.QueueNoReply();
        Expect(r, -1, {r.begin, r.channel.before, Sent(r), r.channel.noReply, r.channel.notSent, r.notSent, r.failed});
        platform.QueueReplyWithoutData(r.channel.takesNoData ? 0 : 4);
        if (r.channel.takesNoData) {
            Expect(r, 0, {r.begin, r.channel.before, Sent(r), r.channel.success, "free reply", r.end});
        } else {
            Expect(r, -1,
                   {r.begin, r.channel.before, Sent(r), "free reply", r.channel.noReply, r.channel.notSent, r.notSent,
                    r.failed});
        }
    }
}

TEST_F(Requests, ReceiversThatCannotBeNamed) {
    Init();
    for (const Request& r : REQUESTS) {
        SCOPED_TRACE(r.name);
        // The hot words' sender is the only one that logs before it names the receiver.
        const bool logsFirst = std::string(r.channel.task) == "ai_hotword_task";
        const std::string before = logsFirst ? r.channel.before : "";
        std::string field = "recvProcName";
        for (int nth = 1; nth <= 2; ++nth) {
            platform.FailCopy(r.copies + nth);
            Expect(r, -1, {r.begin, before, r.channel.unnamed, r.channel.notSent, r.notSent, r.failed}, field);
            field = "recvTaskName";
        }
    }
}

const Request& Find(const std::string& name) {
    for (const Request& request : REQUESTS) {
        if (request.name == name) {
            return request;
        }
    }
    ADD_FAILURE() << name;
    return REQUESTS[0];
}

TEST_F(Requests, AnAddressThatDoesNotFitIsNotSent) {
    Init();
    const struct {
        const char* name;
        const char* filler;
        const char* line;
    } rows[] = {
        {"OrviAiSrvCaptionInit", "SetStAiTaskBasicInfo",
         "error <AiSrvServiceProxy::CaptionInit> failed: call SetStAiTaskBasicInfo failed."},
        {"OrviAiSrvCaptionStart", "SetProxyInfo", "error <StartCaptionProxy> call SetProxyInfo failed."},
        {"OrviAiSrvCaptionStop", "SetProxyInfo", "error <StopCaptionProxy> call SetProxyInfo failed."},
        {"OrviAiSrvNamePlateStart", "SetProxyInfo", "error <StartNameplateProxy> call SetProxyInfo failed."},
        {"OrviAiSrvNamePlateStop", "SetProxyInfo", "error <StopNameplateProxy> call SetProxyInfo failed."},
        {"OrviAiSrvCheckInInit", "SetStAiTaskBasicInfo",
         "error <CheckInInit> failed: call SetStAiTaskBasicInfo failed."},
        {"OrviAiSrvCheckInDeinit", "SetStAiTaskBasicInfo",
         "error <CheckInDeinit> failed: call SetStAiTaskBasicInfo failed."},
        {"OrviAiSrvSignatureStart", "SetStAiTaskBasicInfo",
         "error <AiSrvMinutesStart> failed: call SetStAiTaskBasicInfo failed."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Request& r = Find(row.name);
        const std::string filler = std::string("error <") + row.filler + "> memcpy_s ";
        platform.FailCopy(1);
        Expect(r, -1, {r.begin, filler + "proc name failed.", row.line, r.failed});
        platform.FailCopy(2);
        Expect(r, -1, {r.begin, filler + "task name failed.", row.line, r.failed});
    }
}

TEST_F(Requests, TheCopiesOfTheMinutesAreToldByTheirNumbers) {
    Init();
    for (int nth = 3; nth <= 4; ++nth) {  // after the two names of the address
        platform.FailCopy(nth);
        EXPECT_EQ(OrviAiSrvSignatureStart({}), -1);
    }
    EXPECT_EQ(platform.TakeWithoutInfo(), (Lines{"error <AiSrvMinutesStart> memcpy_s failed: err1:34, err2:0",
                                                 "error <AiSrvMinutesStart> memcpy_s failed: err1:0, err2:34"}));
}

TEST_F(Requests, SomeNeedInitialisation) {
    const std::map<std::string, std::string> refusals = {
        {"OrviAiSrvCaptionInit", "error <AiSrvServiceProxy::CaptionInit> ai srv has not inited."},
        {"OrviAiSrvSignatureStart", "error <AiSrvMinutesStart> ai srv has not inited."},
        {"OrviAiSrvSignatureStop", "error <AiSrvMinutesStop> ai srv has not inited."},
        {"OrviAiSrvCreateFaceDetector",
         "error <AiSrvServiceProxy::CreateDetectTrackProxy> failed: need call init first."},
    };
    for (const Request& r : REQUESTS) {
        SCOPED_TRACE(r.name);
        const auto refusal = refusals.find(r.name);
        if (refusal != refusals.end()) {
            Expect(r, -1, {r.begin, refusal->second, r.failed});
        } else if (std::string(r.name) == "CreateDirectorTrackProxy") {  // its first line
            Expect(r, -1, {"error <AiSrvServiceProxy::{name}> failed: need call init first."});
        } else {
            platform.QueueReply({0});
            EXPECT_EQ(r.call(), 0);
            platform.ForgetReplies();
            (void)platform.Take();
        }
    }
}

TEST_F(Requests, TwoPauseWhileTheServiceIsDown) {
    Init();
    AiSrvServiceProxy::isVisionOK = false;
    for (const Request& r : REQUESTS) {
        const std::string name = r.name;
        if (name == "CreateDirectorTrackProxy") {
            continue;  // waits for the service
        }
        platform.QueueReply({0});
        EXPECT_EQ(r.call(), 0);
        platform.ForgetReplies();
        const Lines lines = platform.Take();
        const bool pauses = name == "OrviAiSrvCaptionStart" || name == "OrviAiSrvCreateFaceDetector";
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "OsUSleep 50"), pauses ? 1 : 0) << name;
    }
}

TEST_F(Requests, MethodsReturnTheVerdict) {
    using Method = int (AiSrvServiceProxy::*)();
    const Method methods[] = {
        &AiSrvServiceProxy::NameplateInit,       &AiSrvServiceProxy::NameplateDeinit,
        &AiSrvServiceProxy::StartNameplateProxy, &AiSrvServiceProxy::StopNameplateProxy,
        &AiSrvServiceProxy::CheckInInit,         &AiSrvServiceProxy::CheckInStoptReport,
        &AiSrvServiceProxy::CheckInStop,         &AiSrvServiceProxy::CheckInClearData,
        &AiSrvServiceProxy::CheckInDeinit,
    };
    uint8_t verdict = 1;
    for (const Method method : methods) {
        platform.QueueReply({++verdict});
        EXPECT_EQ(std::invoke(method, proxy), verdict);
    }
    tagOrviAiConfIdInfo conference = {};
    platform.QueueReply({254});
    EXPECT_EQ(proxy.CheckInStart(conference), 254);
    platform.QueueReply({255});
    EXPECT_EQ(proxy.CheckInStartReport(ORVI_AI_CHECKIN_TYPE_0, conference), 255);
}

}  // namespace
