/* Client library of the conference device's AI vision service, liborvi_ai_srv.so.
 *
 * Conventions, which hold for every function unless it says otherwise:
 *
 * 1. Threads. Functions may be called on any thread, several at a time. OrviAiSrvApiInit comes first; a
 *    request made before it fails, because the process has no place on the message bus yet.
 * 2. Callbacks. After initialisation the library has one thread of its own, the message thread. Every
 *    callback runs there, one at a time, so a slow callback holds up the messages behind it. A callback may
 *    call any function of the library, synchronous requests included, replace itself, destroy its own
 *    detector, or end the process. An exception that leaves a callback is caught and logged. At exit() no
 *    callback begins any more once the static objects go that existed at the first OrviAiSrvApiInit.
 * 3. Results. Functions return an int: 0 for success, -1 for failure. The reason of a failure is an error line
 *    in the log; where a function fails without a line that shows at the log's default level, error, it says
 *    so. No function throws, none tries a failed request again.
 * 4. Waiting. A synchronous request blocks its caller until the service replies, at most 3 s where nothing
 *    else is said; the death of the service ends it at once. A service that is stopped or hangs does not: a
 *    request to it takes its full wait. An orderly end that destroys its detectors takes up to 25 s for each
 *    of them then; an application that must leave sooner just calls exit(), which waits for nothing of the
 *    library's: the service learns of the end from the bus.
 * 5. Arguments. Records are little-endian with the sizes given here. They are read during the call only and
 *    stay the caller's. Texts are bytes that end with a NUL inside their field.
 * 6. Payloads given to a callback belong to the message bus: read them during the call, copy what is to be
 *    kept, never free them. No length is given; a payload carries its own or is fixed. It is null when the
 *    message had none.
 * 7. Memory that a function hands out says beside it how to release it.
 * 8. Sizes. The message bus of a workstation carries payloads of up to 16 MiB (16777216 bytes), replies
 *    included; a longer one is refused with -1 before anything of it is sent. Of the requests only
 *    OrviAiAssistantUpdateKeyWord can be that long.
 * 9. Restarts. A service that restarts has forgotten its clients and all that they had set up. The library
 *    sends nothing again by itself: after ORVI_AI_EVENT_SERVICE_START call OrviAiSrvApiInit once more, then
 *    set up again what is needed: detectors (destroy the old handles, which the new service does not know),
 *    captions, nameplates, director, check-in, minutes, large model, hot words and intents. The callbacks
 *    stay where they are.
 * 10. Forks. The connection belongs to the process that made it. In a child that was forked after its parent
 *    had called OrviAiSrvApiInit each function that needs the service fails with -1 at once, for good,
 *    OrviAiSrvApiInit included, and no callback is called; the others work, and exit() is clean. None waits
 *    for a lock that a thread of the parent held. The parent notices nothing. A child that was forked before
 *    that is a process like any other. This holds for fork(), not for a child made past the C library.
 */
#ifndef ORVI_AI_SRV_H
#define ORVI_AI_SRV_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#include <string>

/* Enumerations are 32-bit: the service may send values that have no name here. */
#define ORVI_AI_ENUM_BASE : int32_t
#define ORVI_AI_RECORD_SIZE(type, size) static_assert(sizeof(type) == (size), #type " has another size")
#define ORVI_AI_RECORD_FIELD(type, field, offset) \
    static_assert(offsetof(type, field) == (offset), #type "::" #field " is elsewhere")
extern "C" {
#else
#define ORVI_AI_ENUM_BASE
#define ORVI_AI_RECORD_SIZE(type, size) _Static_assert(sizeof(type) == (size), #type " has another size")
#define ORVI_AI_RECORD_FIELD(type, field, offset) \
    _Static_assert(offsetof(type, field) == (offset), #type "." #field " is elsewhere")
#endif

#define ORVI_AI_API __attribute__((visibility("default")))

/* ------------------------------------------------------------------------------------------------------
 * Connection
 * ------------------------------------------------------------------------------------------------------ */

/* Identity of the application, 256 bytes. */
typedef struct tagOrviAppInfo {
    uint8_t reserved[128]; /* not read */
    char appId[128];       /* the application's id, NUL-terminated; must not contain ':' */
} tagOrviAppInfo;
ORVI_AI_RECORD_SIZE(tagOrviAppInfo, 256);
ORVI_AI_RECORD_FIELD(tagOrviAppInfo, appId, 128);

/* What the main callback is told, and what its second argument then is. */
typedef enum OrviAiEventId ORVI_AI_ENUM_BASE {
    ORVI_AI_EVENT_SERVICE_EXIT = 0,        /* the service has gone; null */
    ORVI_AI_EVENT_SERVICE_START = 1,       /* the service is there (again): call OrviAiSrvApiInit once more; null */
    ORVI_AI_EVENT_STATUS = 2,              /* tagOrviAiServiceStatusEvent */
    ORVI_AI_EVENT_NOTICE_2F = 3,           /* service message 0x60002F; null */
    ORVI_AI_EVENT_NOTICE_2D = 4,           /* service message 0x60002D; its payload */
    ORVI_AI_EVENT_CHECKIN_CLEARED = 5,     /* the check-in data was cleared; null */
    ORVI_AI_EVENT_NOTICE_39 = 6,           /* service message 0x600039; its payload */
    ORVI_AI_EVENT_LARGE_MODEL_3F = 7,      /* large model, service message 0x60003F; its payload */
    ORVI_AI_EVENT_LARGE_MODEL_3E = 8,      /* large model, service message 0x60003E; its payload */
    ORVI_AI_EVENT_LARGE_MODEL_40 = 9,      /* large model, service message 0x600040; its payload */
    ORVI_AI_EVENT_ASSISTANT_WAKE_UP = 100, /* assistant events; each with the service's payload */
    ORVI_AI_EVENT_ASSISTANT_SLEEP = 101,
    ORVI_AI_EVENT_ASSISTANT_LISTEN = 102,
    ORVI_AI_EVENT_ASSISTANT_NO_LISTEN = 103,
    ORVI_AI_EVENT_ASSISTANT_INTENT_NOTIFY = 104,
    ORVI_AI_EVENT_ASSISTANT_ASR_TEXT = 105,
    ORVI_AI_EVENT_ASSISTANT_TTS_TEXT = 106,
    ORVI_AI_EVENT_ASSISTANT_DISPLAY_CARD = 107,
    ORVI_AI_EVENT_ASSISTANT_CHOOSE_ONE = 108,
    ORVI_AI_EVENT_ASSISTANT_SERVER_ERROR = 109,
    ORVI_AI_EVENT_ASSISTANT_MIC = 110,
    ORVI_AI_EVENT_ASSISTANT_RESET = 111
} OrviAiEventId;

/* What a status event is about. */
typedef enum OrviAiStatusType ORVI_AI_ENUM_BASE {
    ORVI_AI_STATUS_SERVICE = 0,    /* status: the number that the service sent */
    ORVI_AI_STATUS_CAPTION = 1,    /* status: 1 or 0 */
    ORVI_AI_STATUS_NAMEPLATE = 2,  /* status: 1 or 0 */
    ORVI_AI_STATUS_2B = 3,         /* service message 0x60002B; status: the number that the service sent */
    ORVI_AI_STATUS_37 = 4,         /* service message 0x600037; status: the number that the service sent */
    ORVI_AI_STATUS_LARGE_MODEL = 5 /* status: 1 or 0 */
} OrviAiStatusType;

/* Payload of ORVI_AI_EVENT_STATUS, 8 bytes. For captions and nameplates `status` is 1 after a start that
 * succeeded or a stop that failed, and 0 after a start that failed or a stop that succeeded; for the large
 * model 1 after an initialisation that succeeded, else 0. */
typedef struct tagOrviAiServiceStatusEvent {
    int32_t type; /* an OrviAiStatusType */
    int32_t status;
} tagOrviAiServiceStatusEvent;
ORVI_AI_RECORD_SIZE(tagOrviAiServiceStatusEvent, 8);

/* The main callback: the event, and its payload (convention 6). */
typedef void (*OrviAiMainCallback)(OrviAiEventId event, void* payload);

/* Connects the process to the vision service: gives it its names on the message bus, starts the message
 * thread and announces it to the service. `callback` receives the service's events from then on.
 *
 * Call it again after ORVI_AI_EVENT_SERVICE_START, from inside the callback if convenient: a restarted
 * service does not know its clients. A second call only announces the process again; the first callback
 * stays. Calls that overlap one another are serialised.
 *
 * Returns 0; -1 when `callback` is null, the bus refuses the process or its task, the message thread cannot
 * be started, or the announcement cannot be sent (the service is not running). After a failure the call may
 * be repeated; what had been set up is kept and used again. */
ORVI_AI_API int OrviAiSrvApiInit(tagOrviAppInfo appInfo, OrviAiMainCallback callback);

/* Tells the vision service that the process leaves. Nothing else changes: the message thread runs on, the
 * callbacks stay, events of the bus are still delivered, and OrviAiSrvApiInit announces the process again.
 * Returns 0, or -1 when the message cannot be sent. */
ORVI_AI_API int OrviAiSrvApiDeinit(void);

/* ------------------------------------------------------------------------------------------------------
 * Face detection
 * ------------------------------------------------------------------------------------------------------ */

/* A face detection result, 288 bytes; what stands before `sourceId` is the service's. */
typedef struct tagOrviAiSrvFaceDetEvent {
    uint8_t detail[284];
    int32_t sourceId; /* the video source */
} tagOrviAiSrvFaceDetEvent;
ORVI_AI_RECORD_SIZE(tagOrviAiSrvFaceDetEvent, 288);
ORVI_AI_RECORD_FIELD(tagOrviAiSrvFaceDetEvent, sourceId, 284);

/* Receives the face detection results of one video source (convention 6). */
typedef void (*OrviAiSrvFaceCallback)(tagOrviAiSrvFaceDetEvent* event);

/* The requests of this section wait as long as the message bus does (25 s on a workstation) instead of 3 s.
 *
 * A handle names a detector from its creation until OrviAiSrvDestroyFaceDetector, whatever that returns. It
 * is opaque, and calls on the same handle must not overlap. */

/* Creates a detector of the faces on a video source. It stands still until OrviAiSrvStartFaceDetector.
 *
 * handle     receives the new detector; *handle must be null
 * sourceId   the video source; only 0 exists
 * frameRate  results per second wanted; below 1 counts as 1, above 30 as 30
 * needReID   not 0: a face that comes back is to get its former id
 * callback   receives the results of the source
 *
 * A source has one callback: that of the latest detector created on it. When the call has replaced a
 * callback, that one no longer runs on return; a call from inside a callback does not wait for this. So
 * hold no lock here that a face callback takes.
 *
 * Returns 0; -1, with *handle still null and the former callback in place, when an argument is refused, the
 * process is not initialised, memory is short, the service cannot be reached, or its reply has no data or
 * more than a detector's. */
ORVI_AI_API int OrviAiSrvCreateFaceDetector(void** handle, int sourceId, int frameRate, uint8_t needReID,
                                            OrviAiSrvFaceCallback callback);

/* Destroys a detector and removes the callback of its source, also when another detector of the source
 * lives on. Returns 0 once no face callback of the source is running any more; a call from inside a
 * callback does not wait for this, and the callback may run on until it returns. So hold no lock here that
 * a face callback takes.
 *
 * Returns -1 when `handle` is null, the service cannot be reached, or its reply is longer than a detector's.
 * The handle is gone then too, but the callback stays and may still be called, until a later destroy
 * succeeds or a create replaces it. */
ORVI_AI_API int OrviAiSrvDestroyFaceDetector(void* handle);

/* Starts the detector: results come to the callback from now on. Returns 0; -1 when `handle` is null, the
 * service cannot be reached, or its reply is longer than a detector's. After such a reply the detector is
 * unknown to the service; only destroying the handle is of use. */
ORVI_AI_API int OrviAiSrvStartFaceDetector(void* handle);

/* Stops the detector; it may be started again. A result that is on its way still reaches the callback.
 * Returns like OrviAiSrvStartFaceDetector. */
ORVI_AI_API int OrviAiSrvStopFaceDetector(void* handle);

/* A stored photo of a face; 16 bytes on the device. */
typedef struct tagOrviAiSrvPhotoInfo {
    uint32_t faceId;
    uint32_t reserved; /* 0 */
    uint32_t imgLen;   /* bytes at imgData; may be 0 */
    uint8_t* imgData;  /* the image as the service stores it; never null */
} tagOrviAiSrvPhotoInfo;
ORVI_AI_RECORD_FIELD(tagOrviAiSrvPhotoInfo, imgLen, 8);
ORVI_AI_RECORD_FIELD(tagOrviAiSrvPhotoInfo, imgData, sizeof(void*) == 4 ? 12 : 16);

/* The photos that a query found. */
typedef struct tagOrviAiSrvPhotoResult {
    int32_t photoNums;                /* entries of photoList */
    tagOrviAiSrvPhotoInfo* photoList; /* null when there is none */
} tagOrviAiSrvPhotoResult;

/* Asks for the stored photos of 1 to 5 faces.
 *
 * faceIds  `count` ids, as in the detection results
 * result   receives the photos; what it held before is not read. Release them with the function below,
 *          never with free()
 *
 * Returns 0; -1 when a pointer is null, `count` is out of range, the service cannot be reached or has no
 * photo of these faces, memory is short, or the reply does not hold the photos that it announces. When no id
 * is known to the service, the failure leaves no line at the log's default level, only trace lines. After a
 * failure nothing is to be released; `result` is as it was, or photoList is null and photoNums the number that
 * the service announced. */
ORVI_AI_API int OrviAiSrvFaceDetectorGetById(void* handle, int* faceIds, int count, tagOrviAiSrvPhotoResult* result);

#ifdef __cplusplus
extern "C++" {
namespace OrviAiService {

/* Releases the photos of a result: the images of the first `count` entries, which must be the result's
 * photoNums, and the list; photoList is null then. A null or released result is left alone. */
ORVI_AI_API void FreePhotoResult(tagOrviAiSrvPhotoResult* result, int count);

/* Parses a reply with photos, as OrviAiSrvFaceDetectorGetById does with the service's. `imgBuff` must hold
 * a whole one: its length is not known here. Returns 0, or -1 with nothing to be released. */
ORVI_AI_API int PhotoResultExtract(uint8_t* imgBuff, tagOrviAiSrvPhotoResult* result);

} /* namespace OrviAiService */
} /* extern "C++" */
#else
/* OrviAiService::FreePhotoResult for C: releases the photos of a result, the images of the first `count`
 * entries, which must be the result's photoNums, and the list; photoList is null then. A null or released
 * result is left alone. */
ORVI_AI_API void OrviAiService_FreePhotoResult(tagOrviAiSrvPhotoResult* result, int count) __asm__(
    "_ZN13OrviAiService15FreePhotoResultEP23tagOrviAiSrvPhotoResulti");
#endif

/* ------------------------------------------------------------------------------------------------------
 * Captions
 * ------------------------------------------------------------------------------------------------------ */

/* What the caption callback is told; the second argument is the service's payload. */
typedef enum OrviAiCaptionEventId ORVI_AI_ENUM_BASE {
    ORVI_AI_CAPTION_EVENT_SWITCH = 0, /* service message 0x600018 */
    ORVI_AI_CAPTION_EVENT_38 = 1,     /* service message 0x600038 */
    ORVI_AI_CAPTION_EVENT_1A = 2      /* service message 0x60001A */
} OrviAiCaptionEventId;

/* The caption callback: the event, and its payload (convention 6). */
typedef void (*OrviAiCaptionCallback)(OrviAiCaptionEventId event, void* payload);

/* The conference that captions are started for, 456 bytes. */
typedef struct tagOrviAiConfInfo {
    char text1[192]; /* not empty */
    int32_t option1; /* at most 1 */
    int32_t option2; /* at most 2 */
    char text2[256]; /* not empty */
} tagOrviAiConfInfo;
ORVI_AI_RECORD_SIZE(tagOrviAiConfInfo, 456);
ORVI_AI_RECORD_FIELD(tagOrviAiConfInfo, option1, 192);
ORVI_AI_RECORD_FIELD(tagOrviAiConfInfo, option2, 196);
ORVI_AI_RECORD_FIELD(tagOrviAiConfInfo, text2, 200);

/* Each function of this section fails with -1 also when the service cannot be reached or refuses the
 * request. */

/* Makes captions ready. `callback` receives the caption events from now on, in the place of an earlier one,
 * and stays for the life of the process: also when the service refuses the request, and after
 * OrviAiSrvCaptionDeInit. An earlier callback may be running once more while this returns.
 * Returns 0; -1 when `callback` is null or the process is not initialised; nothing is stored then. */
ORVI_AI_API int OrviAiSrvCaptionInit(OrviAiCaptionCallback callback);

/* Ends the use of captions. Returns 0 or -1. */
ORVI_AI_API int OrviAiSrvCaptionDeInit(void);

/* Starts captions. `isReportCaption` is 1 to receive them as caption events, else 0.
 * Returns 0; -1, with nothing sent, when `confInfo` is null or breaks a rule of its record, or the flag is
 * above 1. */
ORVI_AI_API int OrviAiSrvCaptionStart(tagOrviAiConfInfo* confInfo, uint8_t isReportCaption);

/* Stops captions; they may be started again. Returns 0 or -1. */
ORVI_AI_API int OrviAiSrvCaptionStop(void);

/* ------------------------------------------------------------------------------------------------------
 * Nameplates, director, lock state
 * ------------------------------------------------------------------------------------------------------ */

/* Nameplates show the participants' names beside their faces: prepare and put away, switch on and off. The
 * service tells the outcome of a start or stop a second time by ORVI_AI_EVENT_STATUS with
 * ORVI_AI_STATUS_NAMEPLATE. Each returns 0, or -1 when the service cannot be reached or refuses. */
ORVI_AI_API int OrviAiSrvNamePlateInit(void);
ORVI_AI_API int OrviAiSrvNamePlateDeInit(void);
ORVI_AI_API int OrviAiSrvNamePlateStart(void);
ORVI_AI_API int OrviAiSrvNamePlateStop(void);

/* The camera director needs no preparation: these two do nothing and always return -1, without a line at the
 * log's default level. */
ORVI_AI_API int OrviAiSrvDirectorInit(void);
ORVI_AI_API int OrviAiSrvDirectorDeInit(void);

/* Starts and stops the camera director, which points the camera at who speaks. Returns 0 when the service has
 * replied, whatever the reply, and -1 when it has not; waits as long as the message bus does (25 s on a
 * workstation). */
ORVI_AI_API int OrviAiSrvDirectorStart(void);
ORVI_AI_API int OrviAiSrvDirectorStop(void);

/* Tells the service the device's lock state, a number that is passed on as it is. Result and waiting as for
 * the director. */
ORVI_AI_API int OrviAiLockStateChange(int lockState);

/* ------------------------------------------------------------------------------------------------------
 * Check-in
 *
 * The service keeps the attendance of a conference. The library keeps nothing and enforces no order among the
 * calls; the usual one is init, start, start report, queries, stop report, stop, clear, de-init. Where nothing
 * else is said a function returns 0, or -1 when the service cannot be reached or refuses.
 * ------------------------------------------------------------------------------------------------------ */

/* Identity of a conference, 1152 bytes. The start report refuses a text that lacks its NUL. */
typedef struct tagOrviAiConfIdInfo {
    char confUuid[192]; /* unique id of the conference */
    char confId[192];
    char userid[256];
    char account[256];
    char confKey[256]; /* carried for the service */
} tagOrviAiConfIdInfo;
ORVI_AI_RECORD_SIZE(tagOrviAiConfIdInfo, 1152);
ORVI_AI_RECORD_FIELD(tagOrviAiConfIdInfo, confId, 192);
ORVI_AI_RECORD_FIELD(tagOrviAiConfIdInfo, userid, 384);
ORVI_AI_RECORD_FIELD(tagOrviAiConfIdInfo, account, 640);
ORVI_AI_RECORD_FIELD(tagOrviAiConfIdInfo, confKey, 896);

/* How participants check in: a number that the application and the service agree on, passed on as it is. */
typedef enum tagOrviAiCheckinType ORVI_AI_ENUM_BASE { ORVI_AI_CHECKIN_TYPE_0 = 0 } tagOrviAiCheckinType;

/* Views of the check-in data; what each shows is agreed with the service. */
typedef enum OrviAiCheckInShowType ORVI_AI_ENUM_BASE {
    ORVI_AI_CHECKIN_SHOW_0 = 0,
    ORVI_AI_CHECKIN_SHOW_1 = 1,
    ORVI_AI_CHECKIN_SHOW_2 = 2,
    ORVI_AI_CHECKIN_SHOW_3 = 3,
    ORVI_AI_CHECKIN_SHOW_4 = 4,
    ORVI_AI_CHECKIN_SHOW_5 = 5,
    ORVI_AI_CHECKIN_SHOW_6 = 6
} OrviAiCheckInShowType;
#define ORVI_AI_CHECKIN_SHOW_COUNT 7U

#define ORVI_AI_CHECKIN_MAX_PAGE 56U     /* pages are numbered from 1 */
#define ORVI_AI_CHECKIN_MAX_USER_ID 256U /* greatest length that OrviAiSrvGetCheckinPhoto takes */

/* One page of check-in data, 33164 bytes, in the service's own layout. */
typedef struct tagCheckinTotalData {
    uint8_t page[33164];
} tagCheckinTotalData;
ORVI_AI_RECORD_SIZE(tagCheckinTotalData, 33164);

/* Prepares the service's check-in for this process, and puts it away. */
ORVI_AI_API int OrviAiSrvCheckInInit(void);
ORVI_AI_API int OrviAiSrvCheckInDeinit(void);

/* Starts the check-in of a conference, and stops it. */
ORVI_AI_API int OrviAiSrvCheckInStart(tagOrviAiConfIdInfo confInfo);
ORVI_AI_API int OrviAiSrvCheckInStop(void);

/* Starts reporting who checks in to the conference, and stops it. The start also returns -1, with nothing
 * sent, when a text of `confInfo` lacks its NUL. */
ORVI_AI_API int OrviAiSrvCheckInStartReport(tagOrviAiCheckinType type, tagOrviAiConfIdInfo confInfo);
ORVI_AI_API int OrviAiSrvCheckInStopReport(void);

/* Forgets the check-in data; ORVI_AI_EVENT_CHECKIN_CLEARED tells when that is done. */
ORVI_AI_API int OrviAiSrvCheckInClearData(void);

/* Copies page `pageNum`, 1 to 56, of a view of the check-in data into `*checkinData`. A reply shorter than the
 * record fills its beginning and leaves the rest as it was. Returns -1 also when `checkinData` is null, the
 * view or the page is out of range (these three without a line at the log's default level), or the reply is
 * larger than the record, which is then cleared. */
ORVI_AI_API int OrviAiSrvGetCheckinData(tagCheckinTotalData* checkinData, OrviAiCheckInShowType showType,
                                        uint32_t pageNum);

/* Copies the check-in photo of a user into `photoBuffer`, in the service's encoding. `userId` is NUL-terminated
 * and has at most 255 characters; `userIdLen`, 1 to 256, is passed on as it is. `*photoLen` is the size of the
 * buffer in bytes and becomes the size of the photo, 0 when there is none. Returns -1 also when a pointer is
 * null or a length is out of range (these without a line at the log's default level), the id is too long, or
 * the photo is larger than the buffer, which is then cleared; `*photoLen` is unchanged after a failure. */
ORVI_AI_API int OrviAiSrvGetCheckinPhoto(const char* userId, uint32_t userIdLen, uint8_t* photoBuffer,
                                         uint32_t* photoLen);

/* ------------------------------------------------------------------------------------------------------
 * Signature and minutes
 * ------------------------------------------------------------------------------------------------------ */

/* The conference whose minutes are taken, 1160 bytes, in a layout agreed with the service. */
typedef struct tagOrviAiMinutesConfInfo {
    uint8_t conference[1160];
} tagOrviAiMinutesConfInfo;
ORVI_AI_RECORD_SIZE(tagOrviAiMinutesConfInfo, 1160);

/* Starts taking the minutes of a conference, and stops it; a device that offers this says so by
 * `isMinutesSignature` of its ability record. Each returns 0, or -1 before OrviAiSrvApiInit and when the
 * service cannot be reached or refuses. */
ORVI_AI_API int OrviAiSrvSignatureStart(tagOrviAiMinutesConfInfo confInfo);
ORVI_AI_API int OrviAiSrvSignatureStop(void);

/* ------------------------------------------------------------------------------------------------------
 * Version and ability
 * ------------------------------------------------------------------------------------------------------ */

/* What the device offers, 48 bytes: 1 = supported, 0 = not. Other numbers of the device's configuration are
 * handed on as they are. */
typedef struct tagOrviAiAbility {
    int32_t isSpeakTrackSupported;
    int32_t isAutoFrameSupported;
    int32_t isSplitScreenSupported;
    int32_t isDirectorSupported;
    int32_t isFastDirectorSupported;
    int32_t isSignSupported;
    int32_t isNamePlateSupported;
    int32_t isVoiceAssistSupported; /* the service tells */
    int32_t isCaptionSupported;
    int32_t isFaceDetectorSupported;
    int32_t isMinutesSignature;
    uint8_t isTzCloudLLM; /* cloud large model; the service tells */
    uint8_t reserved[3];
} tagOrviAiAbility;
ORVI_AI_RECORD_SIZE(tagOrviAiAbility, 48);
ORVI_AI_RECORD_FIELD(tagOrviAiAbility, isVoiceAssistSupported, 28);
ORVI_AI_RECORD_FIELD(tagOrviAiAbility, isTzCloudLLM, 44);

/* Writes the library's version text and its NUL, 8 bytes, into `version`. `len` is the buffer's size in
 * bytes. Needs no initialisation.
 *
 * Returns 0; -1 when `version` is null or `len` is under 8, the buffer is untouched then. */
ORVI_AI_API int OrviAiSrvGetVersion(char* version, int32_t len);

/* Clears `*ability` and fills it from the device's configuration. Where the configuration allows a large
 * model, the service is asked whether it offers the large model and the voice assistant (convention 4);
 * without a reply those two are 0 and the call still succeeds. Nothing is kept from call to call.
 *
 * Returns 0; -1 when `ability` is null, or when the configuration cannot be read: the record is all zero
 * then. */
ORVI_AI_API int OrviAiSrvGetAbility(tagOrviAiAbility* ability);

/* ------------------------------------------------------------------------------------------------------
 * Large model
 *
 * The library hands each record to the service as it is and keeps no state: the service decides in which
 * order the requests make sense. Results arrive at the main callback: ORVI_AI_STATUS_LARGE_MODEL after an
 * initialisation, and the three ORVI_AI_EVENT_LARGE_MODEL_* events, whose payloads are the service's.
 *
 * The functions return 0 when the service has replied to the request, whatever it said; -1 when the
 * request cannot be sent, no reply comes in time, or (request and de-initialisation) the reply has more
 * than 52 bytes.
 * ------------------------------------------------------------------------------------------------------ */

/* Parameters of initialisation and de-initialisation, 580 bytes. */
typedef struct OrviAiLLMInitParams {
    int32_t serverType;    /* the large-model server that the service is to use */
    uint8_t reserved[576]; /* between the application and the service */
} OrviAiLLMInitParams;
ORVI_AI_RECORD_SIZE(OrviAiLLMInitParams, 580);

/* One request to the large model, 4692 bytes. */
typedef struct OrviAiModelParams {
    uint32_t reserved[2];
    uint32_t type;         /* kind of request */
    uint8_t content[4680]; /* between the application and the service */
} OrviAiModelParams;
ORVI_AI_RECORD_SIZE(OrviAiModelParams, 4692);
ORVI_AI_RECORD_FIELD(OrviAiModelParams, type, 8);

/* Starts the service's large model. */
ORVI_AI_API int OrviAiSrvLargeModelInit(OrviAiLLMInitParams params);

/* Puts one request to the large model; what it has to say follows as events. */
ORVI_AI_API int OrviAiSrvLargeModelRequest(OrviAiModelParams params);

/* Stops the service's large model. */
ORVI_AI_API int OrviAiSrvLargeModelDeInit(OrviAiLLMInitParams params);

/* ------------------------------------------------------------------------------------------------------
 * Voice assistant
 *
 * The assistant's own events arrive at the main callback as ORVI_AI_EVENT_ASSISTANT_*. Where nothing else
 * is said a request is one-way: 0 means that the message bus has taken it, -1 that it could not be sent; what
 * the assistant makes of it is not reported back. Further causes of -1 stand beside each function.
 *
 * `seq` is a sequence number that the application and the assistant agree on; the library hands it on.
 * ------------------------------------------------------------------------------------------------------ */

/* Which hot words OrviAiAssistantUpdateKeyWord updates. Any other number counts as 0. */
typedef enum OrviAiHotwordUpdateType ORVI_AI_ENUM_BASE {
    ORVI_AI_HOTWORD_UPDATE = 0,
    ORVI_AI_HOTWORD_UPDATE_TYPE1 = 1,
    ORVI_AI_HOTWORD_UPDATE_TYPE2 = 2
} OrviAiHotwordUpdateType;

/* Registers the application's hot-word key, which is made from `appInfo.appId`.
 * Also -1 when the id contains ':' or has no NUL. */
ORVI_AI_API int OrviAiAssistantInitKeyWord(tagOrviAppInfo appInfo);

#ifdef __cplusplus
/* Updates the hot words of an application. `words` may hold any characters; what stands behind a NUL is sent
 * as zeros. Also -1 when the application's id contains ':' or has no NUL, when there is no memory for the
 * text, or when it is longer than the bus carries. C++ only. */
ORVI_AI_API int OrviAiAssistantUpdateKeyWord(tagOrviAppInfo appInfo, OrviAiHotwordUpdateType type, std::string& words);
#endif

/* Most intents of one OrviAiAssistantInitIntent. */
#define ORVI_AI_ASSISTANT_INTENTS_MAX 64

/* The name of an intent, 260 bytes. */
typedef struct OrviAiAssistantIntentName {
    uint8_t reserved[4]; /* not read */
    char name[256];      /* sent as it stands, with what follows its NUL */
} OrviAiAssistantIntentName;
ORVI_AI_RECORD_SIZE(OrviAiAssistantIntentName, 260);
ORVI_AI_RECORD_FIELD(OrviAiAssistantIntentName, name, 4);

/* Longest text that the assistant speaks, in characters (bytes). The texts of the records below have more
 * room, so that a text too long is refused rather than cut. */
#define ORVI_AI_ASSISTANT_TTS_MAX 1024

/* An application's answer to an intent, 2056 bytes. */
typedef struct OrviAiAssistantIntentResult {
    uint8_t flag0; /* handed on */
    uint8_t isFinal;
    uint8_t isMulti;
    uint8_t flag3;       /* handed on */
    uint8_t reserved[4]; /* not read */
    char tts[2048];      /* NUL-terminated, at most ORVI_AI_ASSISTANT_TTS_MAX characters */
} OrviAiAssistantIntentResult;
ORVI_AI_RECORD_SIZE(OrviAiAssistantIntentResult, 2056);
ORVI_AI_RECORD_FIELD(OrviAiAssistantIntentResult, flag3, 3);
ORVI_AI_RECORD_FIELD(OrviAiAssistantIntentResult, tts, 8);

/* A text to be spoken, 2052 bytes. */
typedef struct OrviAiAssistantSpeechText {
    uint32_t param; /* handed on */
    char tts[2048]; /* NUL-terminated, at most ORVI_AI_ASSISTANT_TTS_MAX characters */
} OrviAiAssistantSpeechText;
ORVI_AI_RECORD_SIZE(OrviAiAssistantSpeechText, 2052);
ORVI_AI_RECORD_FIELD(OrviAiAssistantSpeechText, tts, 4);

/* A card to be shown, 20876 bytes; between the application and the service. */
typedef struct OrviAiAssistantCard {
    uint8_t content[20876];
} OrviAiAssistantCard;
ORVI_AI_RECORD_SIZE(OrviAiAssistantCard, 20876);

/* Tells the assistant which intents the application handles: `num` names, 0 to
 * ORVI_AI_ASSISTANT_INTENTS_MAX. Also -1 when `intents` is null (whatever `num`), when `num` is out of range,
 * or when there is no memory for the message. */
ORVI_AI_API int OrviAiAssistantInitIntent(OrviAiAssistantIntentName* intents, int num);

/* Answers an intent. Also -1 when the text is too long or has no NUL; nothing is sent then. */
ORVI_AI_API int OrviAiAssistantNotifyIntentResult(uint32_t seq, OrviAiAssistantIntentResult result);

/* Asks for a text to be spoken. Also -1 when the text is too long or has no NUL; nothing is sent then. */
ORVI_AI_API int OrviAiAssistantRequestTts(uint32_t seq, OrviAiAssistantSpeechText speech);

/* Hands over a card to be shown. The card is passed on the stack, and its message is built there as well. */
ORVI_AI_API int OrviAiAssistantDisplayCard(uint32_t seq, OrviAiAssistantCard card);

/* Tells which item was chosen. */
ORVI_AI_API int OrviAiAssistantChooseItem(uint32_t seq, uint32_t itemId);

/* In which mode the assistant wakes up. The numbers are between the application and the service. */
typedef enum OrviAiAssistantRunningMode ORVI_AI_ENUM_BASE {
    ORVI_AI_ASSISTANT_MODE_DEFAULT = 0
} OrviAiAssistantRunningMode;

/* What the assistant is doing. The numbers are between the application and the service, save that 0 stands
 * for a failed request as well. */
typedef enum OrviAiAssistantStatus ORVI_AI_ENUM_BASE { ORVI_AI_ASSISTANT_STATUS_NONE = 0 } OrviAiAssistantStatus;

/* The page that the assistant is on, 44 bytes; between the application and the service. */
typedef struct OrviAiAssistantPageInfo {
    uint8_t content[44];
} OrviAiAssistantPageInfo;
ORVI_AI_RECORD_SIZE(OrviAiAssistantPageInfo, 44);

/* Two figures about the assistant. */
typedef struct OrviAiAssistantAbility {
    int32_t value1; /* 100 */
    int32_t value2; /* 50 */
} OrviAiAssistantAbility;
ORVI_AI_RECORD_SIZE(OrviAiAssistantAbility, 8);
ORVI_AI_RECORD_FIELD(OrviAiAssistantAbility, value2, 4);

/* Wakes the assistant up, in any mode that the service knows. */
ORVI_AI_API int OrviAiAssistantWakeUp(OrviAiAssistantRunningMode mode);

/* Sends the assistant to sleep. */
ORVI_AI_API int OrviAiAssistantSleep(void);

/* Asks for the assistant's status and waits for it (convention 4). Returns the status itself; 0 when the
 * request cannot be sent, no reply comes, or the reply has more than 4 bytes. A shorter reply sets the
 * lower bytes. */
ORVI_AI_API OrviAiAssistantStatus OrviAiAssistantGetStatus(void);

/* Asks for the page info and waits for it (convention 4). A shorter reply fills as many bytes from the
 * start; of the rest the first four bytes are 0 and the others keep what stood there.
 *
 * Returns 0; -1 when `pageInfo` is null, when the request cannot be sent or no reply comes (the first four
 * bytes are 0 then), or when the reply has more than 44 bytes (the record is all zero then). */
ORVI_AI_API int OrviAiAssistantGetPageInfo(OrviAiAssistantPageInfo* pageInfo);

/* Sets the page info. */
ORVI_AI_API int OrviAiAssistantSetPageInfo(OrviAiAssistantPageInfo pageInfo);

/* Fills in the two figures; asks nobody and needs no initialisation. Returns 0; -1 when `ability` is null,
 * without a line in the log. */
ORVI_AI_API int OrviAiAssistantGetAbility(OrviAiAssistantAbility* ability);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
