/* Layouts that the simulated vision service gives to what the library passes through unread.
 *
 * A device's service has layouts of its own: a program that reads these records works with the simulated service
 * only. Records are little-endian. Each is of fixed size or begins with its length in bytes, since a callback is
 * given no length: read the latter with OrviSimReadRecord. Texts end with a NUL inside their field. The bytes that
 * were received need not be aligned: copy a record out of them rather than casting their address.
 */
#ifndef ORVI_VISION_SIM_PAYLOADS_H
#define ORVI_VISION_SIM_PAYLOADS_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#ifdef __cplusplus
#define ORVI_SIM_SIZE(type, size) static_assert(sizeof(type) == (size), #type " has another size")
#else
#define ORVI_SIM_SIZE(type, size) _Static_assert(sizeof(type) == (size), #type " has another size")
#endif

/* Copies a record that begins with its length into `record`, a record of `size` bytes. What a shorter one leaves out
 * is zero, what a longer one has more is left out. Returns the length that was received; 0 for no payload. */
static inline uint32_t OrviSimReadRecord(void* record, size_t size, const void* payload) {
    uint32_t length = 0;
    memset(record, 0, size);
    if (payload != NULL) {
        memcpy(&length, payload, sizeof(length));
        memcpy(record, payload, length < size ? length : size);
    }
    return length;
}

/* The first byte of most answers. A request that is refused changes nothing. What one application owns (detectors,
 * a large model with its answers, intents, hot words) ends with it; captions, nameplates, check-in and minutes are
 * the room's and end with the last application that asked for them, be it by a goodbye or by its death. */
enum OrviSimVerdict {
    ORVI_SIM_DONE = 0,
    ORVI_SIM_MALFORMED = 1, /* the service's log has the reason */
    ORVI_SIM_NOT_READY = 2, /* something has to be initialised or started before */
    ORVI_SIM_BUSY = 3       /* at work for another conference */
};

/* ------------------------------------------------------------------------------------------------------
 * Face detection
 * ------------------------------------------------------------------------------------------------------ */

/* The picture that faces are seen in, in pixels; x counts from the left, y from the top. */
#define ORVI_SIM_PICTURE_WIDTH 1920
#define ORVI_SIM_PICTURE_HEIGHT 1080

/* One face. Its id stays the same while the face is in view. A face that comes back has its former id for a
 * detector created with needReID, else a new one. The photos of OrviAiSrvFaceDetectorGetById are stored under
 * the ids of both kinds, as PNG images. */
typedef struct OrviSimFace {
    uint32_t faceId;
    int32_t left; /* the box, inside the picture */
    int32_t top;
    int32_t width;
    int32_t height;
    uint32_t score; /* how sure the detection is, 0 to 100 */
    int32_t yaw;    /* where the face looks, in degrees: to its left, up, and tilted to its left */
    int32_t pitch;
    int32_t roll;
    uint32_t inViewMs; /* since it came into view */
} OrviSimFace;
ORVI_SIM_SIZE(OrviSimFace, 40);

#define ORVI_SIM_MAX_FACES 7

/* tagOrviAiSrvFaceDetEvent: one picture. */
typedef struct OrviSimFaceEvent {
    uint32_t faceCount;
    OrviSimFace faces[ORVI_SIM_MAX_FACES]; /* those behind faceCount are zero */
    int32_t sourceId;
} OrviSimFaceEvent;
ORVI_SIM_SIZE(OrviSimFaceEvent, 288);

/* Status word of a detector's record. */
enum OrviSimDetectorStatus {
    ORVI_SIM_DETECTOR_CREATED = 1,
    ORVI_SIM_DETECTOR_RUNNING = 2,
    ORVI_SIM_DETECTOR_STOPPED = 3,
    ORVI_SIM_DETECTOR_DESTROYED = 4
};

/* A detector belongs to the process that created it. It ends with the service, and when its process leaves or
 * dies. A request that is refused (to create one too many, to start or stop one that does not exist) is
 * answered with these 56 bytes: too many for a detector, so that the call fails. To destroy what does not
 * exist succeeds. */
typedef struct OrviSimDetectorRefusal {
    uint8_t detector[52]; /* as it was sent; zero for a create */
    uint32_t verdict;     /* an OrviSimVerdict */
} OrviSimDetectorRefusal;
ORVI_SIM_SIZE(OrviSimDetectorRefusal, 56);

/* ------------------------------------------------------------------------------------------------------
 * Captions
 * ------------------------------------------------------------------------------------------------------ */

/* Captions belong to the room: the events go to every process that is connected, any may start and stop them,
 * and they end when the last one that initialised or started them de-initialises them, leaves or dies. A start for
 * the same conference while they run joins in. ORVI_SIM_NOT_READY answers a start before the initialisation and a
 * stop of what does not run, ORVI_SIM_BUSY a start for another conference. After each start and stop the status
 * message with the request's id and the verdict follows: to everybody when it is done, else to its sender. */

/* Service message 0x600018 (ORVI_AI_CAPTION_EVENT_SWITCH): captions have been switched on or off. */
typedef struct OrviSimCaptionSwitch {
    uint32_t length; /* of this record */
    uint32_t running;
} OrviSimCaptionSwitch;
ORVI_SIM_SIZE(OrviSimCaptionSwitch, 8);

/* Service message 0x600038 (ORVI_AI_CAPTION_EVENT_38): somebody speaks. A line comes as it is understood, a few
 * words more each time under the same number, and last in its final form. Not sent when captions were started
 * without isReportCaption. */
typedef struct OrviSimCaptionLine {
    uint32_t length; /* of this record */
    uint32_t number; /* of the line; the first is 1 */
    uint32_t isFinal;
    uint32_t startMs; /* when its first word was spoken, since the start of the captions */
    uint32_t faceId;  /* the speaker's, as a detector with needReID knows it */
    char speaker[64];
    char text[428];
} OrviSimCaptionLine;
ORVI_SIM_SIZE(OrviSimCaptionLine, 512);

/* Service message 0x60001A (ORVI_AI_CAPTION_EVENT_1A): another person speaks from now on. */
typedef struct OrviSimCaptionSpeaker {
    uint32_t length; /* of this record */
    uint32_t faceId;
    char speaker[64];
} OrviSimCaptionSpeaker;
ORVI_SIM_SIZE(OrviSimCaptionSpeaker, 72);

/* ------------------------------------------------------------------------------------------------------
 * Check-in
 * ------------------------------------------------------------------------------------------------------ */

/* Views of the check-in data (OrviAiCheckInShowType). */
enum OrviSimCheckinView {
    ORVI_SIM_CHECKIN_EVERYBODY = 0,    /* who is invited or has come, in the order of the list */
    ORVI_SIM_CHECKIN_PRESENT = 1,      /* who has come, in the order of arrival */
    ORVI_SIM_CHECKIN_ABSENT = 2,       /* who is invited and has not come, in the order of the list */
    ORVI_SIM_CHECKIN_LATEST_FIRST = 3, /* who has come, the latest arrival first */
    ORVI_SIM_CHECKIN_BY_NAME = 4,      /* as EVERYBODY, in the order of the names */
    ORVI_SIM_CHECKIN_GUESTS = 5,       /* who has come without invitation, in the order of arrival */
    ORVI_SIM_CHECKIN_COUNTS = 6        /* nobody: only the numbers of the page's head */
};

enum OrviSimCheckinState {
    ORVI_SIM_CHECKIN_STATE_ABSENT = 0,
    ORVI_SIM_CHECKIN_STATE_PRESENT = 1,
    ORVI_SIM_CHECKIN_STATE_GUEST = 2 /* present without invitation */
};

typedef struct OrviSimCheckinEntry {
    char userId[256]; /* as OrviAiSrvGetCheckinPhoto takes it */
    char account[256];
    char name[128];
    uint32_t state;       /* an OrviSimCheckinState */
    uint32_t checkinTime; /* seconds since 1970-01-01 UTC; 0 when absent */
    uint32_t arrival;     /* 1 for who came first; 0 when absent */
    uint32_t photoLength; /* bytes of the photo, a PNG image; 0 when there is none */
    uint32_t reserved;
} OrviSimCheckinEntry;
ORVI_SIM_SIZE(OrviSimCheckinEntry, 660);

#define ORVI_SIM_CHECKIN_ENTRIES_PER_PAGE 50
#define ORVI_SIM_CHECKIN_PAGE_HEAD 164U

/* tagCheckinTotalData: one page of a view. A page behind the last one has no entries. */
typedef struct OrviSimCheckinPage {
    uint32_t length; /* of the page: the head and the entries in use */
    uint32_t view;
    uint32_t pageNum;
    uint32_t pageCount;  /* of this view; 0 when it is empty */
    uint32_t entryCount; /* on this page */
    uint32_t invited;    /* in the whole list */
    uint32_t present;    /* guests included */
    uint32_t guests;
    uint32_t running; /* 1 while participants are taken in */
    int32_t type;     /* the type given with the start report */
    char confId[124]; /* the beginning of the conference's id */
    OrviSimCheckinEntry entries[ORVI_SIM_CHECKIN_ENTRIES_PER_PAGE];
} OrviSimCheckinPage;
ORVI_SIM_SIZE(OrviSimCheckinPage, 33164);

/* Service message 0x60002D (ORVI_AI_EVENT_NOTICE_2D), between start report and stop report: somebody has come.
 * 0x60002B (ORVI_AI_STATUS_2B) with the number of those present follows it, tells at the beginning of the reporting
 * how many have come before, and ends it; 0x60002F (ORVI_AI_EVENT_NOTICE_2F) tells that everybody who is invited has
 * come. */
typedef struct OrviSimCheckinArrival {
    uint32_t length;  /* of this record */
    uint32_t present; /* this one included */
    OrviSimCheckinEntry entry;
} OrviSimCheckinArrival;
ORVI_SIM_SIZE(OrviSimCheckinArrival, 668);

/* ------------------------------------------------------------------------------------------------------
 * Signature and minutes
 * ------------------------------------------------------------------------------------------------------ */

/* tagOrviAiMinutesConfInfo. A conference is known by its id, which must not be empty. */
typedef struct OrviSimMinutesConference {
    char confUuid[192];
    char confId[192];
    char subject[256];
    char userId[256]; /* who takes the minutes */
    char account[256];
    uint8_t reserved[8];
} OrviSimMinutesConference;
ORVI_SIM_SIZE(OrviSimMinutesConference, 1160);

/* ------------------------------------------------------------------------------------------------------
 * Large model
 *
 * Nothing in it thinks: an answer is put together from the words of the request, always in the same way.
 * An answer comes as one ORVI_AI_EVENT_LARGE_MODEL_3F, its text in pieces as ORVI_AI_EVENT_LARGE_MODEL_3E, and one
 * ORVI_AI_EVENT_LARGE_MODEL_40. A request that is not answered gets the last one only. Each application has a model of
 * its own: it initialises it for itself, and the answers to its requests come to it alone.
 * ------------------------------------------------------------------------------------------------------ */

/* OrviAiLLMInitParams::serverType; with any other number the initialisation fails, as the status event tells. */
enum OrviSimModelServer { ORVI_SIM_MODEL_SERVER_DEVICE = 0, ORVI_SIM_MODEL_SERVER_CLOUD = 1 };

enum OrviSimModelRequestType {
    ORVI_SIM_MODEL_ASK = 0,
    ORVI_SIM_MODEL_SUMMARISE = 1,
    ORVI_SIM_MODEL_REPEAT = 2,
    ORVI_SIM_MODEL_CANCEL = 3 /* ends the answer to the request of the same id; has no answer of its own */
};

/* OrviAiModelParams. A second request with an id that is being answered cancels the first. */
typedef struct OrviSimModelRequest {
    uint32_t requestId; /* the client's choice; other clients' numbers are their own */
    uint32_t reserved;
    uint32_t type; /* an OrviSimModelRequestType */
    char text[4680];
} OrviSimModelRequest;
ORVI_SIM_SIZE(OrviSimModelRequest, 4692);

/* Service message 0x60003F (ORVI_AI_EVENT_LARGE_MODEL_3F): an answer begins. */
typedef struct OrviSimModelBegin {
    uint32_t length; /* of this record */
    uint32_t requestId;
    uint32_t type;
    uint32_t pieces; /* how many will come */
} OrviSimModelBegin;
ORVI_SIM_SIZE(OrviSimModelBegin, 16);

/* Service message 0x60003E (ORVI_AI_EVENT_LARGE_MODEL_3E): the next piece of its text, spaces included. */
typedef struct OrviSimModelPiece {
    uint32_t length; /* of this record */
    uint32_t requestId;
    uint32_t index; /* from 0 */
    uint32_t textLength;
    char text[256];
} OrviSimModelPiece;
ORVI_SIM_SIZE(OrviSimModelPiece, 272);

enum OrviSimModelResult {
    ORVI_SIM_MODEL_COMPLETE = 0,
    ORVI_SIM_MODEL_CANCELLED = 1,  /* by a request, or by the de-initialisation */
    ORVI_SIM_MODEL_NOT_READY = 2,  /* initialise the large model first */
    ORVI_SIM_MODEL_BUSY = 3,       /* ORVI_SIM_MODEL_MOST_ANSWERS are under way */
    ORVI_SIM_MODEL_BAD_REQUEST = 4 /* unknown type, or a text without end */
};
#define ORVI_SIM_MODEL_MOST_ANSWERS 16

/* Service message 0x600040 (ORVI_AI_EVENT_LARGE_MODEL_40): the answer has ended. */
typedef struct OrviSimModelEnd {
    uint32_t length; /* of this record */
    uint32_t requestId;
    uint32_t result;     /* an OrviSimModelResult */
    uint32_t pieces;     /* how many have come */
    uint32_t textLength; /* of all of them */
} OrviSimModelEnd;
ORVI_SIM_SIZE(OrviSimModelEnd, 20);

/* ------------------------------------------------------------------------------------------------------
 * Voice assistant
 *
 * The assistant belongs to the device: its events go to every client, but the notice of an intent to the application
 * that registered it, and the error that refuses a request to its sender. It sleeps until an application wakes it,
 * shows a card with items, or somebody says a hot word, listens, and notifies the intent whose name the words hold;
 * the application answers the intent, the assistant speaks the answer. `seq` numbers the turns of that conversation.
 * ------------------------------------------------------------------------------------------------------ */

/* OrviAiAssistantStatus. */
enum OrviSimAssistantStatus {
    ORVI_SIM_ASSISTANT_ASLEEP = 1,
    ORVI_SIM_ASSISTANT_AWAKE = 2,
    ORVI_SIM_ASSISTANT_LISTENING = 3,
    ORVI_SIM_ASSISTANT_SPEAKING = 4
};

/* OrviAiAssistantRunningMode. */
enum OrviSimAssistantMode {
    ORVI_SIM_ASSISTANT_MODE_CONVERSE = 0, /* listens when it has been woken up */
    ORVI_SIM_ASSISTANT_MODE_ANNOUNCE = 1  /* shows and speaks, never listens, stays awake until it is sent to sleep */
};

/* OrviAiAssistantPageInfo: kept as it is and handed out again. Zero until somebody sets it. */
typedef struct OrviSimPageInfo {
    uint32_t page;
    char name[40];
} OrviSimPageInfo;
ORVI_SIM_SIZE(OrviSimPageInfo, 44);

/* Hot words stand behind the application's key with commas between them. OrviAiHotwordUpdateType: 0 puts them in the
 * place of those before, 1 adds them, 2 takes them away. An application registers its key first. */

/* A name of an intent is its words: "open_blinds" is meant when somebody says "please open the blinds". */

enum OrviSimAssistantCause {
    ORVI_SIM_ASSISTANT_ON_REQUEST = 1,   /* an application asked for it */
    ORVI_SIM_ASSISTANT_HOT_WORD = 2,     /* somebody said a hot word */
    ORVI_SIM_ASSISTANT_HEARD = 3,        /* somebody said something */
    ORVI_SIM_ASSISTANT_SPEAKS = 4,       /* the assistant does not listen to itself */
    ORVI_SIM_ASSISTANT_MUTED = 5,        /* the microphone was switched off */
    ORVI_SIM_ASSISTANT_OUT_OF_TIME = 6,  /* nobody spoke, or the application did not answer */
    ORVI_SIM_ASSISTANT_DONE = 7,         /* the conversation has come to its end */
    ORVI_SIM_ASSISTANT_FALLS_ASLEEP = 8, /* as the sleep event behind it tells */
    ORVI_SIM_ASSISTANT_TURN = 9          /* it is somebody's turn to speak */
};

/* Service message 0x60004A (ORVI_AI_EVENT_ASSISTANT_WAKE_UP). */
typedef struct OrviSimAssistantWakeUp {
    uint32_t length; /* of this record */
    uint32_t cause;
    uint32_t mode;
    uint32_t reserved;
    char appId[128]; /* whose hot word it was; empty for the assistant's own, "hello assistant" */
    char word[128];  /* the hot word */
} OrviSimAssistantWakeUp;
ORVI_SIM_SIZE(OrviSimAssistantWakeUp, 272);

/* Service messages 0x60004B (_SLEEP), 0x60004C (_LISTEN), 0x60004D (_NO_LISTEN), 0x600054 (_MIC; value 1 = on, 0 =
 * off) and 0x600055 (_RESET; the turn `seq` is over without an end, forget it). */
typedef struct OrviSimAssistantNotice {
    uint32_t length; /* of this record */
    uint32_t cause;
    uint32_t seq; /* the turn; 0 when there is none */
    uint32_t value;
} OrviSimAssistantNotice;
ORVI_SIM_SIZE(OrviSimAssistantNotice, 16);

enum OrviSimAssistantTextPhase {
    ORVI_SIM_ASSISTANT_TEXT_PARTIAL = 0, /* recognised so far */
    ORVI_SIM_ASSISTANT_TEXT_FINAL = 1,   /* recognised */
    ORVI_SIM_ASSISTANT_TEXT_BEGINS = 2,  /* speech */
    ORVI_SIM_ASSISTANT_TEXT_ENDED = 3,
    ORVI_SIM_ASSISTANT_TEXT_CUT = 4 /* the speech ended before its time */
};

/* Service messages 0x60004F (_ASR_TEXT: what somebody says) and 0x600050 (_TTS_TEXT: what the assistant says). */
typedef struct OrviSimAssistantText {
    uint32_t length; /* of this record */
    uint32_t seq;
    uint32_t phase;
    uint32_t textLength;
    char text[1028]; /* at most 1024 bytes and the NUL */
} OrviSimAssistantText;
ORVI_SIM_SIZE(OrviSimAssistantText, 1044);

/* Service message 0x60004E (_INTENT_NOTIFY): answer it with OrviAiAssistantNotifyIntentResult and the same `seq`; not
 * final: more answers follow; final and multi: the assistant listens once more; final: it sleeps when it has spoken. */
typedef struct OrviSimAssistantIntent {
    uint32_t length; /* of this record */
    uint32_t seq;
    uint32_t itemId; /* what was chosen; 0 when there was no choice */
    uint32_t reserved;
    char name[256];  /* one of those registered; empty for the choice of a card that belongs to no intent */
    char text[1028]; /* what was said, or the text of the item */
} OrviSimAssistantIntent;
ORVI_SIM_SIZE(OrviSimAssistantIntent, 1300);

/* One of several, to be chosen by voice (its words, or its place: "2") or with OrviAiAssistantChooseItem. */
typedef struct OrviSimAssistantItem {
    uint32_t id; /* not 0 */
    char text[252];
} OrviSimAssistantItem;
ORVI_SIM_SIZE(OrviSimAssistantItem, 256);

#define ORVI_SIM_ASSISTANT_MOST_ITEMS 64
#define ORVI_SIM_ASSISTANT_CHOICE_HEAD 16U

/* Service message 0x600051 (_CHOOSE_ONE): the intents that may be meant, or the items of a card. The intent is
 * notified when the choice is made. */
typedef struct OrviSimAssistantChoice {
    uint32_t length; /* of this record: the head and the items in use */
    uint32_t seq;
    uint32_t itemCount;
    uint32_t reserved;
    OrviSimAssistantItem items[ORVI_SIM_ASSISTANT_MOST_ITEMS];
} OrviSimAssistantChoice;
ORVI_SIM_SIZE(OrviSimAssistantChoice, 16400);

/* OrviAiAssistantCard. With items it asks for a choice. */
typedef struct OrviSimAssistantCard {
    uint32_t itemCount; /* at most ORVI_SIM_ASSISTANT_MOST_ITEMS */
    char title[256];
    char body[4096];
    OrviSimAssistantItem items[ORVI_SIM_ASSISTANT_MOST_ITEMS];
    uint8_t reserved[136];
} OrviSimAssistantCard;
ORVI_SIM_SIZE(OrviSimAssistantCard, 20876);

/* Service message 0x600052 (_DISPLAY_CARD): the card is on the screen. */
typedef struct OrviSimAssistantCardShown {
    uint32_t length; /* of this record */
    uint32_t seq;
    OrviSimAssistantCard card;
} OrviSimAssistantCardShown;
ORVI_SIM_SIZE(OrviSimAssistantCardShown, 20884);

enum OrviSimAssistantErrorCode {
    ORVI_SIM_ASSISTANT_NOT_UNDERSTOOD = 1, /* no intent, or no item, was recognised */
    ORVI_SIM_ASSISTANT_NO_SUCH_TURN = 2,   /* an answer or a choice that nobody waits for */
    ORVI_SIM_ASSISTANT_NO_ANSWER = 3,      /* the application did not answer an intent in time */
    ORVI_SIM_ASSISTANT_TOO_MUCH = 4,       /* more speeches wait than the assistant keeps */
    ORVI_SIM_ASSISTANT_MALFORMED = 5       /* a request was refused: intents, hot words, a mode, a card */
};

/* Service message 0x600053 (_SERVER_ERROR). */
typedef struct OrviSimAssistantError {
    uint32_t length; /* of this record */
    uint32_t code;
    uint32_t seq;
    uint32_t reserved;
    char text[128]; /* the reason in words */
} OrviSimAssistantError;
ORVI_SIM_SIZE(OrviSimAssistantError, 144);

#endif
