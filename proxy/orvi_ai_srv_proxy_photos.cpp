// The query of stored face photos: request, parsing of the reply, release of what it became.
#include "orvi_ai_srv_proxy_photos.h"

#include <cstring>
#include <new>

#include "client_log.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_ai_srv_proxy_channels.h"
#include "orvi_securec.h"
#include "request_rows.h"

namespace OrviAiService {
namespace {

// Length of a reply of which only the start is known. No real length reaches it.
constexpr uint64_t UNBOUNDED = UINT64_MAX;
// The device addresses no list of as many photos: their size would wrap.
constexpr int32_t TOO_MANY_PHOTOS = 1 << 28;
static_assert(sizeof(void*) != 4 || sizeof(tagOrviAiSrvPhotoInfo) == 16);
static_assert(sizeof(tagOrviAiSrvPhotoInfo) <= SIZE_MAX / (TOO_MANY_PHOTOS - 1));

// The array forms of the operators rather than new expressions: those throw for a size that overflows, nothrow or not.
tagOrviAiSrvPhotoInfo* NewPhotoList(int32_t photoNums) {
    const size_t size =
        photoNums >= TOO_MANY_PHOTOS ? SIZE_MAX : static_cast<size_t>(photoNums) * sizeof(tagOrviAiSrvPhotoInfo);
    return static_cast<tagOrviAiSrvPhotoInfo*>(::operator new[](size, std::nothrow));
}

uint8_t* NewImage(uint32_t imgLen) {
    return static_cast<uint8_t*>(::operator new[](imgLen, std::nothrow));
}

// Copies one photo out of the reply. False, with its own line, when that fails; `photo` is then complete but for the
// image, which is null or allocated.
bool ExtractPhoto(const uint8_t*& at, uint64_t& left, tagOrviAiSrvPhotoInfo& photo) {
    photo = {};
    PhotoHead head;
    if (left < sizeof(head)) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetFaceDetectorById> failed: the reply ends before a photo.");
        return false;
    }
    std::memcpy(&head, at, sizeof(head));
    at += sizeof(head);
    left -= sizeof(head);
    photo.faceId = head.faceId;
    photo.imgLen = head.imgLen;
    if (head.imgLen > left) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetFaceDetectorById> failed: the reply ends inside a photo, imgLen=%u.",
                       head.imgLen);
        return false;
    }
    photo.imgData = NewImage(head.imgLen);
    if (photo.imgData == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetFaceDetectorById> failed: new photoInfo->imgData fail.");
        return false;
    }
    // The bounded copy takes no destination without room.
    if (head.imgLen != 0 && memcpy_s(photo.imgData, head.imgLen, at, head.imgLen) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetFaceDetectorById> failed: imgData call memcpy_s failed.");
        return false;
    }
    at += head.imgLen;
    left -= head.imgLen;
    return true;
}

int Extract(const uint8_t* at, uint64_t left, tagOrviAiSrvPhotoResult* result) {
    int32_t photoNums;
    if (at == nullptr) {
        ORVI_TRACE(LOG_ERROR, "PhotoResultExtract",
                   "<AiSrvServiceProxy::GetFaceDetectorById> failed: imgBuff is nullptr.");
        return -1;
    }
    if (result == nullptr || left < sizeof(photoNums)) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetFaceDetectorById> failed: no result, or a reply without a number.");
        return -1;
    }
    std::memcpy(&photoNums, at, sizeof(photoNums));
    at += sizeof(photoNums);
    left -= sizeof(photoNums);
    if (photoNums <= 0) {
        ORVI_TRACE(LOG_ERROR, "PhotoResultExtract", "<AiSrvServiceProxy::GetFaceDetectorById> failed: photoNums < 0.");
        return -1;
    }
    result->photoNums = photoNums;
    result->photoList = nullptr;
    if (static_cast<uint32_t>(photoNums) > left / sizeof(PhotoHead)) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetFaceDetectorById> failed: the reply cannot hold %d photos.", photoNums);
        return -1;
    }
    result->photoList = NewPhotoList(photoNums);
    if (result->photoList == nullptr) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetFaceDetectorById> failed: new photoList fail.");
        return -1;
    }
    for (int32_t i = 0; i < photoNums; ++i) {
        if (!ExtractPhoto(at, left, result->photoList[i])) {
            FreePhotoResult(result, i + 1);  // the entries after this one were never filled
            return -1;
        }
    }
    return 0;
}

}  // namespace

constexpr Sender Senders::GetFaceDetectorById = {
    nullptr,
    nullptr,
    [](Failure failure, const SendError& error) {
        switch (failure) {
            case Failure::PROC_UNNAMED:
            case Failure::TASK_UNNAMED:
                LogInterfaceBlockFailed();
                ORVI_LOG_ERROR(
                    "<AiSrvServiceProxy::GetFaceDetectorById> failed: call SetDefaultMsgBlockToMaster failed.");
                break;
            case Failure::NOT_TAKEN:
                ORVI_LOG_ERROR("<AiSrvServiceProxy::GetFaceDetectorById> send get face image msg failed.");
                break;
            case Failure::NO_REPLY:
                ORVI_TRACE(LOG_ERROR, "GetFaceDetectorById",
                           "<AiSrvServiceProxy::GetFaceDetectorById> failed: can not get msg response %x.",
                           error.msgId);
                break;
        }
    },
};

int AiSrvServiceProxy::GetFaceDetectorById(tagAiDetClientInfo& info, int* faceIds, int count,
                                           tagOrviAiSrvPhotoResult* result) {
    tagAiFaceQuery query;
    (void)memset_s(&query, sizeof(query), 0, sizeof(query));
    query.detector = info;
    // A count that is out of range must not wrap into a small size.
    const size_t idSize =
        static_cast<uint32_t>(count) > tagAiFaceQuery::MAX_IDS ? SIZE_MAX : static_cast<uint32_t>(count) * sizeof(int);
    if (memcpy_s(query.faceId, sizeof(query.faceId), faceIds, idSize) != 0) {
        ORVI_LOG_ERROR("<AiSrvServiceProxy::GetFaceDetectorById> failed: faceId call memcpy_s failed.");
        return -1;
    }
    query.count = count;
    const Exchange exchange = Send(Requests::FACE_GET_BY_ID, &query);
    if (exchange.outcome != Outcome::DONE) {
        return -1;
    }
    const ReplyPtr reply(exchange.reply);
    if (PhotoResultExtractBounded(static_cast<const uint8_t*>(reply->data), reply->dataLen, result) != 0) {
        ORVI_TRACE(LOG_ERROR, "GetFaceDetectorById",
                   "<AiSrvServiceProxy::GetFaceDetectorById> failed: call PhotoResultExtract failed.");
        return -1;
    }
    return 0;
}

int PhotoResultExtract(uint8_t* imgBuff, tagOrviAiSrvPhotoResult* result) {
    return Extract(imgBuff, UNBOUNDED, result);
}

int PhotoResultExtractBounded(const uint8_t* imgBuff, uint32_t length, tagOrviAiSrvPhotoResult* result) {
    return Extract(imgBuff, length, result);
}

void FreePhotoResult(tagOrviAiSrvPhotoResult* result, int count) {
    if (result == nullptr || result->photoList == nullptr) {
        return;
    }
    for (int i = 0; i < count; ++i) {
        ::operator delete[](result->photoList[i].imgData);
        result->photoList[i].imgData = nullptr;
    }
    ::operator delete[](result->photoList);
    result->photoList = nullptr;
}

}  // namespace OrviAiService
