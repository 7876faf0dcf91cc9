// The functions of the client library: each performs its script, or else what is usual.
#include <algorithm>
#include <cstring>
#include <string>

#include "callbacks.h"
#include "orvi/test/fake.hpp"

namespace {

using orvi::test::fake::Callbacks;
using orvi::test::fake::of;

// Of a function whose service agrees, and whose output, if it has one, is not written.
constexpr auto AGREES = [](auto&&...) { return 0; };

// Of one whose output is zero.
template <class Output>
int Cleared(Output* output) {
    if (output == nullptr) {
        return -1;
    }
    std::memset(static_cast<void*>(output), 0, sizeof(*output));
    return 0;
}

void FreePhotos(tagOrviAiSrvPhotoResult* result, int count) {
    if (result == nullptr || result->photoList == nullptr) {
        return;
    }
    for (int i = 0; i < count; ++i) {
        ::operator delete[](result->photoList[i].imgData);
    }
    ::operator delete[](result->photoList);
    result->photoList = nullptr;
}

}  // namespace

void orvi::test::fake::LinkFunctions() {}

// --- Connection ---

int OrviAiSrvApiInit(tagOrviAppInfo appInfo, OrviAiMainCallback callback) {
    const int result = of<OrviAiSrvApiInit>().Perform(AGREES, appInfo, callback);
    if (result == 0) {
        Callbacks::Get().SetMain(callback);
    }
    return result;
}

int OrviAiSrvApiDeinit() {
    return of<OrviAiSrvApiDeinit>().Perform(AGREES);
}

// --- Face detection ---

int OrviAiSrvCreateFaceDetector(void** handle, int sourceId, int frameRate, uint8_t needReID,
                                OrviAiSrvFaceCallback callback) {
    const int result =
        of<OrviAiSrvCreateFaceDetector>().Perform(AGREES, handle, sourceId, frameRate, needReID, callback);
    if (result == 0 && handle != nullptr) {
        *handle = Callbacks::Get().AddDetector(sourceId, callback, *handle);
    }
    return result;
}

int OrviAiSrvDestroyFaceDetector(void* handle) {
    const int result = of<OrviAiSrvDestroyFaceDetector>().Perform(AGREES, handle);
    if (result == 0) {
        Callbacks::Get().RemoveDetector(handle);
    }
    return result;
}

int OrviAiSrvStartFaceDetector(void* handle) {
    return of<OrviAiSrvStartFaceDetector>().Perform(AGREES, handle);
}

int OrviAiSrvStopFaceDetector(void* handle) {
    return of<OrviAiSrvStopFaceDetector>().Perform(AGREES, handle);
}

// Nobody has a photo unless a script has.
int OrviAiSrvFaceDetectorGetById(void* handle, int* faceIds, int count, tagOrviAiSrvPhotoResult* result) {
    return of<OrviAiSrvFaceDetectorGetById>().Perform([](auto&&...) { return -1; }, handle, faceIds, count, result);
}

void OrviAiService::FreePhotoResult(tagOrviAiSrvPhotoResult* result, int count) {
    of<OrviAiService::FreePhotoResult>().Perform(FreePhotos, result, count);
}

int OrviAiService::PhotoResultExtract(uint8_t* imgBuff, tagOrviAiSrvPhotoResult* result) {
    return of<OrviAiService::PhotoResultExtract>().Perform([](auto&&...) { return -1; }, imgBuff, result);
}

// --- Captions ---

// The callback is stored also when the service refuses.
int OrviAiSrvCaptionInit(OrviAiCaptionCallback callback) {
    Callbacks::Get().SetCaption(callback);
    return of<OrviAiSrvCaptionInit>().Perform(AGREES, callback);
}

int OrviAiSrvCaptionDeInit() {
    return of<OrviAiSrvCaptionDeInit>().Perform(AGREES);
}

int OrviAiSrvCaptionStart(tagOrviAiConfInfo* confInfo, uint8_t isReportCaption) {
    return of<OrviAiSrvCaptionStart>().Perform(AGREES, confInfo, isReportCaption);
}

int OrviAiSrvCaptionStop() {
    return of<OrviAiSrvCaptionStop>().Perform(AGREES);
}

// --- Nameplates, director, lock state ---

int OrviAiSrvNamePlateInit() {
    return of<OrviAiSrvNamePlateInit>().Perform(AGREES);
}

int OrviAiSrvNamePlateDeInit() {
    return of<OrviAiSrvNamePlateDeInit>().Perform(AGREES);
}

int OrviAiSrvNamePlateStart() {
    return of<OrviAiSrvNamePlateStart>().Perform(AGREES);
}

int OrviAiSrvNamePlateStop() {
    return of<OrviAiSrvNamePlateStop>().Perform(AGREES);
}

int OrviAiSrvDirectorInit() {
    return of<OrviAiSrvDirectorInit>().Perform([] { return -1; });
}

int OrviAiSrvDirectorDeInit() {
    return of<OrviAiSrvDirectorDeInit>().Perform([] { return -1; });
}

int OrviAiSrvDirectorStart() {
    return of<OrviAiSrvDirectorStart>().Perform(AGREES);
}

int OrviAiSrvDirectorStop() {
    return of<OrviAiSrvDirectorStop>().Perform(AGREES);
}

int OrviAiLockStateChange(int lockState) {
    return of<OrviAiLockStateChange>().Perform(AGREES, lockState);
}

// --- Check-in ---

int OrviAiSrvCheckInInit() {
    return of<OrviAiSrvCheckInInit>().Perform(AGREES);
}

int OrviAiSrvCheckInDeinit() {
    return of<OrviAiSrvCheckInDeinit>().Perform(AGREES);
}

int OrviAiSrvCheckInStart(tagOrviAiConfIdInfo confInfo) {
    return of<OrviAiSrvCheckInStart>().Perform(AGREES, confInfo);
}

int OrviAiSrvCheckInStop() {
    return of<OrviAiSrvCheckInStop>().Perform(AGREES);
}

int OrviAiSrvCheckInStartReport(tagOrviAiCheckinType type, tagOrviAiConfIdInfo confInfo) {
    return of<OrviAiSrvCheckInStartReport>().Perform(AGREES, type, confInfo);
}

int OrviAiSrvCheckInStopReport() {
    return of<OrviAiSrvCheckInStopReport>().Perform(AGREES);
}

int OrviAiSrvCheckInClearData() {
    return of<OrviAiSrvCheckInClearData>().Perform(AGREES);
}

int OrviAiSrvGetCheckinData(tagCheckinTotalData* checkinData, OrviAiCheckInShowType showType, uint32_t pageNum) {
    return of<OrviAiSrvGetCheckinData>().Perform([](auto* data, auto&&...) { return Cleared(data); }, checkinData,
                                                 showType, pageNum);
}

int OrviAiSrvGetCheckinPhoto(const char* userId, uint32_t userIdLen, uint8_t* photoBuffer, uint32_t* photoLen) {
    return of<OrviAiSrvGetCheckinPhoto>().Perform(
        [](auto&&, auto&&, auto&&, uint32_t* length) { return Cleared(length); }, userId, userIdLen, photoBuffer,
        photoLen);
}

// --- Signature and minutes ---

int OrviAiSrvSignatureStart(tagOrviAiMinutesConfInfo confInfo) {
    return of<OrviAiSrvSignatureStart>().Perform(AGREES, confInfo);
}

int OrviAiSrvSignatureStop() {
    return of<OrviAiSrvSignatureStop>().Perform(AGREES);
}

// --- Version and ability ---

int OrviAiSrvGetVersion(char* version, int32_t len) {
    return of<OrviAiSrvGetVersion>().Perform(
        [](char* text, int32_t size) {
            constexpr char VERSION[] = ORVI_FAKE_VERSION;
            if (text == nullptr || size < static_cast<int32_t>(sizeof(VERSION))) {
                return -1;
            }
            std::memcpy(text, VERSION, sizeof(VERSION));
            return 0;
        },
        version, len);
}

int OrviAiSrvGetAbility(tagOrviAiAbility* ability) {
    return of<OrviAiSrvGetAbility>().Perform(
        [](tagOrviAiAbility* all) {
            if (all == nullptr) {
                return -1;
            }
            *all = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, {}};
            return 0;
        },
        ability);
}

// --- Large model ---

int OrviAiSrvLargeModelInit(OrviAiLLMInitParams params) {
    return of<OrviAiSrvLargeModelInit>().Perform(AGREES, params);
}

int OrviAiSrvLargeModelRequest(OrviAiModelParams params) {
    return of<OrviAiSrvLargeModelRequest>().Perform(AGREES, params);
}

int OrviAiSrvLargeModelDeInit(OrviAiLLMInitParams params) {
    return of<OrviAiSrvLargeModelDeInit>().Perform(AGREES, params);
}

// --- Voice assistant ---

int OrviAiAssistantInitKeyWord(tagOrviAppInfo appInfo) {
    return of<OrviAiAssistantInitKeyWord>().Perform(AGREES, appInfo);
}

int OrviAiAssistantUpdateKeyWord(tagOrviAppInfo appInfo, OrviAiHotwordUpdateType type, std::string& words) {
    return of<OrviAiAssistantUpdateKeyWord>().Perform(AGREES, appInfo, type, words);
}

int OrviAiAssistantInitIntent(OrviAiAssistantIntentName* intents, int num) {
    return of<OrviAiAssistantInitIntent>().Perform(AGREES, intents, num);
}

int OrviAiAssistantNotifyIntentResult(uint32_t seq, OrviAiAssistantIntentResult result) {
    return of<OrviAiAssistantNotifyIntentResult>().Perform(AGREES, seq, result);
}

int OrviAiAssistantRequestTts(uint32_t seq, OrviAiAssistantSpeechText speech) {
    return of<OrviAiAssistantRequestTts>().Perform(AGREES, seq, speech);
}

int OrviAiAssistantDisplayCard(uint32_t seq, OrviAiAssistantCard card) {
    return of<OrviAiAssistantDisplayCard>().Perform(AGREES, seq, card);
}

int OrviAiAssistantChooseItem(uint32_t seq, uint32_t itemId) {
    return of<OrviAiAssistantChooseItem>().Perform(AGREES, seq, itemId);
}

int OrviAiAssistantWakeUp(OrviAiAssistantRunningMode mode) {
    return of<OrviAiAssistantWakeUp>().Perform(AGREES, mode);
}

int OrviAiAssistantSleep() {
    return of<OrviAiAssistantSleep>().Perform(AGREES);
}

OrviAiAssistantStatus OrviAiAssistantGetStatus() {
    return of<OrviAiAssistantGetStatus>().Perform(AGREES);
}

int OrviAiAssistantGetPageInfo(OrviAiAssistantPageInfo* pageInfo) {
    return of<OrviAiAssistantGetPageInfo>().Perform([](auto* info) { return Cleared(info); }, pageInfo);
}

int OrviAiAssistantSetPageInfo(OrviAiAssistantPageInfo pageInfo) {
    return of<OrviAiAssistantSetPageInfo>().Perform(AGREES, pageInfo);
}

int OrviAiAssistantGetAbility(OrviAiAssistantAbility* ability) {
    return of<OrviAiAssistantGetAbility>().Perform(
        [](OrviAiAssistantAbility* figures) {
            if (figures == nullptr) {
                return -1;
            }
            *figures = {100, 50};
            return 0;
        },
        ability);
}
