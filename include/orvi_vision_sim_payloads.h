/* Layouts that the simulated vision service gives to what the library passes through unread.
 *
 * A device's service has layouts of its own: a program that reads these records works with the simulated service
 * only. Records are little-endian. Each is of fixed size or begins with its length in bytes, since a callback is
 * given no length. Texts end with a NUL inside their field. Copy a record out of the bytes that were received
 * (memcpy) rather than casting their address, which need not be aligned.
 */
#ifndef ORVI_VISION_SIM_PAYLOADS_H
#define ORVI_VISION_SIM_PAYLOADS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define ORVI_SIM_SIZE(type, size) static_assert(sizeof(type) == (size), #type " has another size")
#else
#define ORVI_SIM_SIZE(type, size) _Static_assert(sizeof(type) == (size), #type " has another size")
#endif

/* The first byte of most answers. */
enum OrviSimVerdict {
    ORVI_SIM_DONE = 0,
    ORVI_SIM_MALFORMED = 1, /* the service's log has the reason */
    ORVI_SIM_NOT_READY = 2, /* something has to be initialised or started before */
    ORVI_SIM_BUSY = 3       /* at work for another conference */
};

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
 * 0x60002B (ORVI_AI_STATUS_2B) with the number of those present follows it and also ends the reporting, and
 * 0x60002F (ORVI_AI_EVENT_NOTICE_2F) tells that everybody who is invited has come. */
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

#endif
