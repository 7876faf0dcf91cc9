// Check-in: who attends a conference, page by page, with a photo for each user.
#include <cstring>

#include "client_log.h"
#include "message_ids.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_channels.h"
#include "orvi_securec.h"
#include "reply_block.h"

namespace OrviAiService {
namespace {

// A text of the conference record, in the order in which the start report copies them.
struct ConfField {
    const char* name;
    size_t offset;
    size_t size;
};
constexpr ConfField CONF_FIELDS[] = {
    {"userid", offsetof(tagOrviAiConfIdInfo, userid), sizeof(tagOrviAiConfIdInfo::userid)},
    {"confId", offsetof(tagOrviAiConfIdInfo, confId), sizeof(tagOrviAiConfIdInfo::confId)},
    {"confUuid", offsetof(tagOrviAiConfIdInfo, confUuid), sizeof(tagOrviAiConfIdInfo::confUuid)},
    {"account", offsetof(tagOrviAiConfIdInfo, account), sizeof(tagOrviAiConfIdInfo::account)},
    {"confKey", offsetof(tagOrviAiConfIdInfo, confKey), sizeof(tagOrviAiConfIdInfo::confKey)},
};

// Copies a text between two fields of the same size; the source may lack its NUL and is not read past its end.
bool CopyField(char* destination, const char* source, size_t size) {
    return strnlen(source, size) < size && strcpy_s(destination, size, source) == 0;
}

// An empty reply leaves the destination as it is.
bool CopyReply(void* destination, size_t size, const TagMsgBlock& reply) {
    return reply.dataLen == 0 || memcpy_s(destination, size, reply.data, reply.dataLen) == 0;
}

int SendWithoutData(AiSrvServiceProxy& proxy, uint32_t msgId, const char* method) {
    ORVI_LOG_INFO("<%s> enter", method);
    return proxy.SendSynMsgToFaceReturnInt(msgId, nullptr, 0);
}

int SendClientAddress(AiSrvServiceProxy& proxy, uint32_t msgId, const char* method) {
    ORVI_LOG_INFO("<%s> enter", method);
    tagAiTaskBasicInfo info;
    if (SetStAiTaskBasicInfo(info) != 0) {
        ORVI_LOG_ERROR("<%s> failed: call SetStAiTaskBasicInfo failed.", method);
        return -1;
    }
    return proxy.SendSynMsgToFaceReturnInt(msgId, reinterpret_cast<uint8_t*>(&info), sizeof(info));
}

// Sends a query and copies the answer, at most `size` bytes, to `answer`; `answerLen` is set on success only.
int Query(AiSrvServiceProxy& proxy, uint32_t msgId, void* query, uint32_t queryLen, void* answer, uint32_t size,
          uint32_t& answerLen, const char* method) {
    TagMsgBlock* received = nullptr;
    if (proxy.SendSynMsgToVisionFaceTask(msgId, static_cast<uint8_t*>(query), queryLen, &received) != 0) {
        ORVI_LOG_ERROR("<%s> call SendSynMsgToVision failed.", method);
        return -1;
    }
    const ReplyPtr reply(received);
    if (!CopyReply(answer, size, *reply)) {
        ORVI_LOG_ERROR("<%s> call memcpy_s failed.", method);
        return -1;
    }
    answerLen = reply->dataLen;
    return 0;
}

}  // namespace

int AiSrvServiceProxy::CheckInInit() {
    return SendClientAddress(*this, AI_MSG_CHECKIN_INIT, "CheckInInit");
}

int AiSrvServiceProxy::CheckInStart(tagOrviAiConfIdInfo& confInfo) {
    ORVI_LOG_INFO("<CheckInStart> enter");
    return SendSynMsgToFaceReturnInt(AI_MSG_CHECKIN_START, reinterpret_cast<uint8_t*>(&confInfo), sizeof(confInfo));
}

int AiSrvServiceProxy::CheckInStartReport(tagOrviAiCheckinType type, tagOrviAiConfIdInfo& confInfo) {
    CheckinStartReport report;
    (void)memset_s(&report, sizeof(report), 0, sizeof(report));
    report.type = type;
    for (const ConfField& field : CONF_FIELDS) {
        char* const destination = reinterpret_cast<char*>(&report.confInfo) + field.offset;
        const char* const source = reinterpret_cast<const char*>(&confInfo) + field.offset;
        if (!CopyField(destination, source, field.size)) {
            ORVI_LOG_INFO("<CheckInStartReport> strcpy_s %s failed", field.name);
            return -1;
        }
    }
    return SendSynMsgToFaceReturnInt(AI_MSG_CHECKIN_START_REPORT, reinterpret_cast<uint8_t*>(&report), sizeof(report));
}

int AiSrvServiceProxy::CheckInStoptReport() {
    return SendWithoutData(*this, AI_MSG_CHECKIN_STOP_REPORT, "CheckInStoptReport");
}

int AiSrvServiceProxy::QueryCheckInData(tagCheckinTotalData* checkinData, OrviAiCheckInShowType showType,
                                        uint32_t pageNum) {
    if (checkinData == nullptr) {
        ORVI_LOG_ERROR("<QueryCheckInData> failed: input is nullptr.");
        return -1;
    }
    CheckinDataQuery query = {static_cast<uint32_t>(showType), pageNum};
    uint32_t answerLen = 0;
    return Query(*this, AI_MSG_CHECKIN_QUERY_DATA, &query, sizeof(query), checkinData, sizeof(*checkinData), answerLen,
                 "QueryCheckInData");
}

int AiSrvServiceProxy::QueryCheckInPhoto(char* userId, uint32_t userIdLen, uint8_t* photoBuffer, uint32_t* photoLen) {
    if (userId == nullptr || photoBuffer == nullptr || photoLen == nullptr) {
        ORVI_LOG_ERROR("<QueryCheckInPhoto> failed: input is nullptr.");
        return -1;
    }
    CheckinPhotoQuery query;
    (void)memset_s(&query, sizeof(query), 0, sizeof(query));
    if (strcpy_s(query.userId, sizeof(query.userId), userId) != 0) {
        ORVI_LOG_INFO("<QueryCheckInPhoto> strcpy_s userid failed");
        return -1;
    }
    query.userIdLen = userIdLen;
    return Query(*this, AI_MSG_CHECKIN_QUERY_PHOTO, &query, sizeof(query), photoBuffer, *photoLen, *photoLen,
                 "QueryCheckInPhoto");
}

int AiSrvServiceProxy::CheckInStop() {
    return SendWithoutData(*this, AI_MSG_CHECKIN_STOP, "CheckInStop");
}

int AiSrvServiceProxy::CheckInClearData() {
    return SendWithoutData(*this, AI_MSG_CHECKIN_CLEAR_DATA, "CheckInClearData");
}

int AiSrvServiceProxy::CheckInDeinit() {
    return SendClientAddress(*this, AI_MSG_CHECKIN_DEINIT, "CheckInDeinit");
}

}  // namespace OrviAiService
