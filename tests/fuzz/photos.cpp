// Any reply with photos: what is made of it lies within it, and is released whole.
#include "library.h"
#include "orvi_ai_srv_proxy_photos.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FakePlatform& platform = orvi_fuzz::Platform();
    orvi_fuzz::Input input(data, size);
    const auto reply = input.Take(size);
    tagOrviAiSrvPhotoResult result{};
    if (OrviAiService::PhotoResultExtractBounded(reply.bytes.get(), static_cast<uint32_t>(reply.size), &result) == 0) {
        size_t bytes = 4;
        for (int32_t i = 0; i < result.photoNums; ++i) {
            bytes += 8 + result.photoList[i].imgLen;
            for (uint32_t at = 0; at < result.photoList[i].imgLen; ++at) {
                orvi_fuzz::Require(result.photoList[i].imgData != nullptr, "an image has bytes");
                result.photoList[i].imgData[at] = 0;  // they are the caller's
            }
        }
        orvi_fuzz::Require(bytes <= reply.size, "no more than was received");
        OrviAiService::FreePhotoResult(&result, result.photoNums);
    }
    (void)platform.Take();
    int ids[] = {1, 2};
    static void* detector = nullptr;
    if (detector == nullptr) {
        platform.QueueReply(Bytes(8));
        (void)OrviAiSrvCreateFaceDetector(&detector, 0, 1, 0, [](tagOrviAiSrvFaceDetEvent*) {});
        orvi_fuzz::Require(detector != nullptr, "there is a detector");
    }
    platform.QueueReply(Bytes(data, data + size));
    if (OrviAiSrvFaceDetectorGetById(detector, ids, 2, &result) == 0) {
        OrviAiService::FreePhotoResult(&result, result.photoNums);
    }
    (void)platform.Take();
    platform.ForgetReplies();
    orvi_fuzz::Require(platform.LiveReplies() == 0, "replies are released");
    return 0;
}
