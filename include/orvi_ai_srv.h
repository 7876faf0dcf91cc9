/* Client library of the conference device's AI vision service, liborvi_ai_srv.so.
 *
 * Conventions, which hold for every function unless it says otherwise:
 *
 * 1. Threads. Functions may be called on any thread, several at a time. OrviAiSrvApiInit comes first; a
 *    request made before it fails, because the process has no place on the message bus yet.
 * 2. Callbacks. After initialisation the library has one thread of its own, the message thread. Every
 *    callback runs there, one at a time, so a slow callback holds up the messages behind it. A callback may
 *    call any function of the library, synchronous requests included, replace itself, destroy its own
 *    detector, or end the process. An exception that leaves a callback is caught and logged.
 * 3. Results. Functions return an int: 0 for success, -1 for failure. The reason of a failure is in the log.
 *    No function throws, none tries a failed request again.
 * 4. Waiting. A synchronous request blocks its caller until the service answers, at most 3 s where nothing
 *    else is said; the death of the service ends it at once.
 * 5. Arguments. Records are little-endian with the sizes given here. They are read during the call only and
 *    stay the caller's. Texts are bytes that end with a NUL inside their field.
 * 6. Payloads given to a callback belong to the message bus: read them during the call, copy what is to be
 *    kept, never free them. No length is given; a payload carries its own or is fixed. It is null when the
 *    message had none.
 * 7. Memory that a function hands out says beside it how to release it.
 */
#ifndef ORVI_AI_SRV_H
#define ORVI_AI_SRV_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
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

/* The camera director needs no preparation: these two do nothing and always return -1. */
ORVI_AI_API int OrviAiSrvDirectorInit(void);
ORVI_AI_API int OrviAiSrvDirectorDeInit(void);

/* Starts and stops the camera director, which points the camera at who speaks. Returns 0 when the service has
 * answered, whatever the answer, and -1 when it has not; waits as long as the message bus allows. */
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

/* Copies page `pageNum`, 1 to 56, of a view of the check-in data into `*checkinData`. An answer shorter than the
 * record fills its beginning and leaves the rest as it was. Returns -1 also when `checkinData` is null, the
 * view or the page is out of range, or the answer is larger than the record, which is then cleared. */
ORVI_AI_API int OrviAiSrvGetCheckinData(tagCheckinTotalData* checkinData, OrviAiCheckInShowType showType,
                                        uint32_t pageNum);

/* Copies the check-in photo of a user into `photoBuffer`, in the service's encoding. `userId` is NUL-terminated
 * and has at most 255 characters; `userIdLen`, 1 to 256, is passed on as it is. `*photoLen` is the size of the
 * buffer in bytes and becomes the size of the photo, 0 when there is none. Returns -1 also when a pointer is
 * null, a length is out of range, the id is too long, or the photo is larger than the buffer, which is then
 * cleared; `*photoLen` is unchanged after a failure. */
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

/* ------------------------------------------------------------------------------------------------------
 * Large model
 * ------------------------------------------------------------------------------------------------------ */

/* ------------------------------------------------------------------------------------------------------
 * Voice assistant
 * ------------------------------------------------------------------------------------------------------ */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
