// Check-in: who attends a conference, page by page, with a photo for each user.
#include <cstring>

#include "client_log.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_securec.h"
#include "request_rows.h"

namespace OrviAiService {
namespace {

// A text of the conference record, in the order in which the start report copies them.
struct ConfField {
    char name[9];
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

// Sends this client's address; `noAddress` tells that there was none to send.
int SendClientAddress(const Request& request, LogLine noAddress) {
    tagAiTaskBasicInfo info;
    if (SetStAiTaskBasicInfo(info) != 0) {
        noAddress();
        return -1;
    }
    return SendSynMsgToFaceReturnInt(request, &info);
}

}  // namespace

int AiSrvServiceProxy::CheckInInit() {
    ORVI_LOG_INFO("<CheckInInit> enter");
    return SendClientAddress(Requests::CHECKIN_INIT,
                             [] { ORVI_LOG_ERROR("<CheckInInit> failed: call SetStAiTaskBasicInfo failed."); });
}

int AiSrvServiceProxy::CheckInStart(tagOrviAiConfIdInfo& confInfo) {
    ORVI_LOG_INFO("<CheckInStart> enter");
    return OrviAiService::SendSynMsgToFaceReturnInt(Requests::CHECKIN_START, &confInfo);
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
    return OrviAiService::SendSynMsgToFaceReturnInt(Requests::CHECKIN_START_REPORT, &report);
}

int AiSrvServiceProxy::CheckInStoptReport() {
    ORVI_LOG_INFO("<CheckInStoptReport> enter");
    return OrviAiService::SendSynMsgToFaceReturnInt(Requests::CHECKIN_STOP_REPORT, nullptr);
}

int AiSrvServiceProxy::QueryCheckInData(tagCheckinTotalData* checkinData, OrviAiCheckInShowType showType,
                                        uint32_t pageNum) {
    if (checkinData == nullptr) {
        ORVI_LOG_ERROR("<QueryCheckInData> failed: input is nullptr.");
        return -1;
    }
    const CheckinDataQuery query = {static_cast<uint32_t>(showType), pageNum};
    return Transact(
        Requests::CHECKIN_QUERY_DATA, &query,
        [] { ORVI_LOG_ERROR("<QueryCheckInData> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<QueryCheckInData> call memcpy_s failed."); }, checkinData);
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
    Request request = Requests::CHECKIN_QUERY_PHOTO;
    request.mostReply = *photoLen;
    return Transact(
        request, &query, [] { ORVI_LOG_ERROR("<QueryCheckInPhoto> call SendSynMsgToVision failed."); },
        [] { ORVI_LOG_ERROR("<QueryCheckInPhoto> call memcpy_s failed."); }, photoBuffer, photoLen);
}

int AiSrvServiceProxy::CheckInStop() {
    ORVI_LOG_INFO("<CheckInStop> enter");
    return OrviAiService::SendSynMsgToFaceReturnInt(Requests::CHECKIN_STOP, nullptr);
}

int AiSrvServiceProxy::CheckInClearData() {
    ORVI_LOG_INFO("<CheckInClearData> enter");
    return OrviAiService::SendSynMsgToFaceReturnInt(Requests::CHECKIN_CLEAR_DATA, nullptr);
}

int AiSrvServiceProxy::CheckInDeinit() {
    ORVI_LOG_INFO("<CheckInDeinit> enter");
    return SendClientAddress(Requests::CHECKIN_DEINIT,
                             [] { ORVI_LOG_ERROR("<CheckInDeinit> failed: call SetStAiTaskBasicInfo failed."); });
}

}  // namespace OrviAiService
