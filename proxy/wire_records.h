// Records that cross the bus, little-endian, each stated once with its size and offsets asserted beside it.
// Records that the application hands over are in the public header.
#ifndef ORVI_PROXY_WIRE_RECORDS_H
#define ORVI_PROXY_WIRE_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "orvi_ai_srv.h"
#include "orvi_os_msg.h"

// The last trait refuses padding that has no name.
#define WIRE_SIZE(type, size)                                                                                        \
    static_assert(sizeof(type) == (size) && std::is_trivially_copyable_v<type> && std::is_standard_layout_v<type> && \
                      std::has_unique_object_representations_v<type>,                                                \
                  #type)
#define WIRE_AT(type, field, offset) static_assert(offsetof(type, field) == (offset), #type "::" #field)

// This client's address on the bus, part of many request payloads.
struct tagAiTaskBasicInfo {
    char proc[OS_MSG_NAME_SIZE];
    char task[OS_MSG_NAME_SIZE];
    uint32_t cpu;  // always 1
};
WIRE_SIZE(tagAiTaskBasicInfo, 36);
WIRE_AT(tagAiTaskBasicInfo, task, 16);
WIRE_AT(tagAiTaskBasicInfo, cpu, 32);

// --- Face detection ---

// Request: a new face detector.
struct tagAiCreateDetTrack {
    tagAiTaskBasicInfo client;
    int32_t sourceId;
    int32_t frameRate;  // frames per second, 1 to 30
    uint8_t needReID;   // 0 or 1
    uint8_t padding[3];
};
WIRE_SIZE(tagAiCreateDetTrack, 48);
WIRE_AT(tagAiCreateDetTrack, sourceId, 36);
WIRE_AT(tagAiCreateDetTrack, frameRate, 40);
WIRE_AT(tagAiCreateDetTrack, needReID, 44);

// A face detector as the service describes it: the reply to every detector request and the payload of the next one.
// The handle that an application holds is the address of one.
struct tagAiDetClientInfo {
    tagAiTaskBasicInfo address;
    int32_t status;
    uint32_t service40;  // the service's, carried unchanged
    int32_t sourceId;    // key of the detector's callback
    uint32_t service48;  // the service's, carried unchanged
};
WIRE_SIZE(tagAiDetClientInfo, 52);
WIRE_AT(tagAiDetClientInfo, status, 36);
WIRE_AT(tagAiDetClientInfo, sourceId, 44);

// Request: the stored photos of some faces.
struct tagAiFaceQuery {
    static constexpr uint32_t MAX_IDS = 5;

    tagAiDetClientInfo detector;
    int32_t faceId[MAX_IDS];  // those past `count` are 0
    int32_t count;
};
WIRE_SIZE(tagAiFaceQuery, 76);
WIRE_AT(tagAiFaceQuery, faceId, 52);
WIRE_AT(tagAiFaceQuery, count, 72);

// Reply with photos: int32_t number, at least 1; then each photo as PhotoHead and `imgLen` bytes, packed without
// alignment.
struct PhotoHead {
    uint32_t faceId;
    uint32_t imgLen;  // bytes of image that follow
};
WIRE_SIZE(PhotoHead, 8);

// --- Captions ---

// Request: start captions.
struct tagAiCaptionStart {
    tagAiTaskBasicInfo client;
    tagOrviAiConfInfo conference;
    uint8_t isReportCaption;  // 0 or 1
    uint8_t padding[3];
};
WIRE_SIZE(tagAiCaptionStart, 496);
WIRE_AT(tagAiCaptionStart, conference, 36);
WIRE_AT(tagAiCaptionStart, isReportCaption, 492);
// Start report of the check-in. Bytes behind a text's NUL carry no meaning.
struct CheckinStartReport {
    int32_t type;
    tagOrviAiConfIdInfo confInfo;
};
WIRE_SIZE(CheckinStartReport, 1156);
WIRE_AT(CheckinStartReport, confInfo, 4);

struct CheckinDataQuery {
    uint32_t showType;
    uint32_t pageNum;
};
WIRE_SIZE(CheckinDataQuery, 8);

struct CheckinPhotoQuery {
    char userId[256];    // NUL-terminated
    uint32_t userIdLen;  // as the application gave it
};
WIRE_SIZE(CheckinPhotoQuery, 260);
WIRE_AT(CheckinPhotoQuery, userIdLen, 256);

struct MinutesStartRequest {
    tagAiTaskBasicInfo client;
    tagOrviAiMinutesConfInfo confInfo;
};
WIRE_SIZE(MinutesStartRequest, 1196);
WIRE_AT(MinutesStartRequest, confInfo, 36);

// Answer of the service to the large-model requests; it may be shorter.
struct OrviAiLLMReply {
    uint8_t reserved0[48];
    uint8_t cloudLargeModel;  // 1 = offered
    uint8_t voiceAssistant;   // 1 = offered
    uint8_t reserved50[2];
};
WIRE_SIZE(OrviAiLLMReply, 52);
WIRE_AT(OrviAiLLMReply, cloudLargeModel, 48);
WIRE_AT(OrviAiLLMReply, voiceAssistant, 49);

// Payloads of the assistant requests. A text field is padded with NULs; a text of the field's own size has none.
constexpr size_t ASSISTANT_TTS_SIZE = 1024;

// Only the first `count` names travel: 4 + 256 * count bytes.
struct AssistantIntentList {
    uint32_t count;
    char names[ORVI_AI_ASSISTANT_INTENTS_MAX][256];
};
WIRE_SIZE(AssistantIntentList, 16388);
WIRE_AT(AssistantIntentList, names, 4);

struct AssistantTtsRequest {
    uint32_t seq;
    uint32_t param;
    char tts[ASSISTANT_TTS_SIZE];
};
WIRE_SIZE(AssistantTtsRequest, 1032);
WIRE_AT(AssistantTtsRequest, param, 4);
WIRE_AT(AssistantTtsRequest, tts, 8);

struct AssistantIntentAnswer {
    uint32_t seq;
    uint8_t flag0;
    uint8_t isFinal;
    uint8_t isMulti;
    uint8_t zero7[5];
    uint8_t flag3;
    uint8_t zero13[11];
    char tts[ASSISTANT_TTS_SIZE];
    uint8_t zero1048[4];  // ends the longest text
};
WIRE_SIZE(AssistantIntentAnswer, 1052);
WIRE_AT(AssistantIntentAnswer, flag0, 4);
WIRE_AT(AssistantIntentAnswer, isFinal, 5);
WIRE_AT(AssistantIntentAnswer, isMulti, 6);
WIRE_AT(AssistantIntentAnswer, flag3, 12);
WIRE_AT(AssistantIntentAnswer, tts, 24);
WIRE_AT(AssistantIntentAnswer, zero1048, 1048);

struct AssistantCardRequest {
    uint32_t seq;
    OrviAiAssistantCard card;
};
WIRE_SIZE(AssistantCardRequest, 20880);
WIRE_AT(AssistantCardRequest, card, 4);

struct AssistantChoice {
    uint32_t seq;
    uint8_t zero4[264];
    uint32_t itemId;
};
WIRE_SIZE(AssistantChoice, 272);
WIRE_AT(AssistantChoice, itemId, 268);

#endif
