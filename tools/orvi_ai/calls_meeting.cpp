// Captions, lock state, check-in and minutes.
#include <cstddef>
#include <memory>

#include "calls.h"
#include "wire_records.h"

namespace orvi_ai {
namespace {

constexpr uint32_t LARGEST_PHOTO = 1U << 20;  // an answer with more is the refusal of the simulated service

}  // namespace

int PrepareCaptions() {
    return OrviAiSrvCaptionInit(&Events::OnCaption);
}

Outcome CaptionInit(Session&, const Call&) {
    return Returned(PrepareCaptions());
}

Outcome CaptionStart(Session&, const Call& call) {
    auto request = As<tagAiCaptionStart>(call.payload);
    return Returned(OrviAiSrvCaptionStart(&request.conference, request.isReportCaption));
}

Outcome LockState(Session&, const Call& call) {
    return Returned(OrviAiLockStateChange(As<int32_t>(call.payload)));
}

Outcome CheckinStart(Session&, const Call& call) {
    return Returned(OrviAiSrvCheckInStart(As<tagOrviAiConfIdInfo>(call.payload)));
}

Outcome CheckinStartReport(Session& session, const Call& call) {
    const auto request = As<::CheckinStartReport>(call.payload);
    if (!session.IsScript() && OrviAiSrvCheckInStart(request.confInfo) != 0) {
        return Failed("the check-in could not be started");
    }
    return Returned(OrviAiSrvCheckInStartReport(static_cast<tagOrviAiCheckinType>(request.type), request.confInfo));
}

Outcome CheckinPage(Session& session, const Call& call) {
    const auto query = As<CheckinDataQuery>(call.payload);
    tagCheckinTotalData data{};
    Outcome outcome;
    outcome.result = OrviAiSrvGetCheckinData(&data, static_cast<OrviAiCheckInShowType>(query.showType), query.pageNum);
    if (outcome.result != 0) {
        return outcome;
    }
    // The record tells its length.
    uint32_t length = 0;
    std::memcpy(&length, data.page, sizeof(length));
    const orvi_protocol::Message& message = *MessageOf(*call.command);
    if (length < message.reply->shortest) {
        return Failed("what came is no page: it says that it has " + std::to_string(length) + " bytes");
    }
    ShowReply(session, message.reply, data.page, std::min<size_t>(length, sizeof(data)), outcome);
    return outcome;
}

Outcome CheckinPhoto(Session&, const Call& call) {
    const auto query = As<CheckinPhotoQuery>(call.payload);
    const std::unique_ptr<uint8_t[]> photo(new uint8_t[LARGEST_PHOTO]);
    uint32_t length = LARGEST_PHOTO;
    Outcome outcome;
    outcome.result = OrviAiSrvGetCheckinPhoto(query.userId, query.userIdLen, photo.get(), &length);
    if (outcome.result != 0) {
        return outcome;
    }
    const std::string bytes = std::to_string(length);
    std::string path;
    if (!call.out.empty() && length != 0) {
        path = call.out;
        outcome.result = WriteFile(path, photo.get(), length, outcome.reason) ? 0 : -1;
    }
    outcome.text = "  " + (length == 0 ? "no photo" : bytes + " bytes") + (path.empty() ? "" : "  " + path) + "\n";
    outcome.json = "{\"bytes\":" + bytes + (path.empty() ? "" : ",\"file\":" + orvi_protocol::JsonString(path)) + "}";
    return outcome;
}

Outcome MinutesStart(Session&, const Call& call) {
    return Returned(OrviAiSrvSignatureStart(As<MinutesStartRequest>(call.payload).confInfo));
}

}  // namespace orvi_ai
