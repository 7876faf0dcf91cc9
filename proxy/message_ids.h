// Ids of the messages between this library and the vision service. Requests and events share one numbering;
// an id may be a request on its way out and something else on its way in.
#ifndef ORVI_PROXY_MESSAGE_IDS_H
#define ORVI_PROXY_MESSAGE_IDS_H

#include <cstdint>

namespace OrviAiService {

// Requests.
constexpr uint32_t AI_MSG_DETECT_TRACK_CREATE = 0x600002;
constexpr uint32_t AI_MSG_DETECT_TRACK_DESTROY = 0x600003;
constexpr uint32_t AI_MSG_DETECT_TRACK_START = 0x600004;
constexpr uint32_t AI_MSG_DETECT_TRACK_STOP = 0x600005;
constexpr uint32_t AI_MSG_FACE_GET_BY_ID = 0x600006;
constexpr uint32_t AI_MSG_DIRECTOR_CREATE = 0x600007;
constexpr uint32_t AI_MSG_DIRECTOR_REMOVE = 0x600008;
constexpr uint32_t AI_MSG_DIRECTOR_START = 0x600009;
constexpr uint32_t AI_MSG_DIRECTOR_STOP = 0x60000A;
constexpr uint32_t AI_MSG_INIT = 0x60000F;
constexpr uint32_t AI_MSG_UNINIT = 0x600010;
constexpr uint32_t AI_MSG_CAPTION_INIT = 0x600014;
constexpr uint32_t AI_MSG_CAPTION_START = 0x600015;
constexpr uint32_t AI_MSG_CAPTION_STOP = 0x600016;
constexpr uint32_t AI_MSG_CAPTION_DEINIT = 0x600017;
constexpr uint32_t AI_MSG_NAMEPLATE_INIT = 0x60001A;
constexpr uint32_t AI_MSG_NAMEPLATE_DEINIT = 0x60001B;
constexpr uint32_t AI_MSG_NAMEPLATE_START = 0x60001C;
constexpr uint32_t AI_MSG_NAMEPLATE_STOP = 0x60001D;
constexpr uint32_t AI_MSG_CHECKIN_INIT = 0x600022;
constexpr uint32_t AI_MSG_CHECKIN_START = 0x600023;
constexpr uint32_t AI_MSG_CHECKIN_START_REPORT = 0x600024;
constexpr uint32_t AI_MSG_CHECKIN_STOP_REPORT = 0x600025;
constexpr uint32_t AI_MSG_CHECKIN_QUERY_DATA = 0x600026;
constexpr uint32_t AI_MSG_CHECKIN_QUERY_PHOTO = 0x600027;
constexpr uint32_t AI_MSG_CHECKIN_STOP = 0x600028;
constexpr uint32_t AI_MSG_CHECKIN_CLEAR_DATA = 0x600029;
constexpr uint32_t AI_MSG_CHECKIN_DEINIT = 0x60002A;
constexpr uint32_t AI_MSG_MINUTES_START = 0x600035;
constexpr uint32_t AI_MSG_MINUTES_STOP = 0x600036;
constexpr uint32_t AI_MSG_LLM_ABILITY = 0x60003A;  // the one request of the interface sender that goes to the OM task
constexpr uint32_t AI_MSG_LLM_INIT = 0x60003B;
constexpr uint32_t AI_MSG_LLM_REQUEST = 0x60003C;
constexpr uint32_t AI_MSG_LLM_DEINIT = 0x60003D;
constexpr uint32_t AI_MSG_ASSISTANT_INIT_INTENT = 0x600056;
constexpr uint32_t AI_MSG_ASSISTANT_REQUEST_TTS = 0x600057;
constexpr uint32_t AI_MSG_ASSISTANT_NOTIFY_INTENT_RESULT = 0x600058;
constexpr uint32_t AI_MSG_ASSISTANT_DISPLAY_CARD = 0x600059;
constexpr uint32_t AI_MSG_ASSISTANT_CHOOSE_ITEM = 0x60005A;
constexpr uint32_t AI_MSG_ASSISTANT_SLEEP = 0x60005B;
constexpr uint32_t AI_MSG_ASSISTANT_WAKE_UP = 0x60005C;
constexpr uint32_t AI_MSG_ASSISTANT_SET_PAGE_INFO = 0x60005D;
constexpr uint32_t AI_MSG_ASSISTANT_GET_PAGE_INFO = 0x60005E;
constexpr uint32_t AI_MSG_ASSISTANT_GET_STATUS = 0x60005F;
constexpr uint32_t AI_MSG_ASSISTANT_INIT_KEY_WORD = 0x600060;
constexpr uint32_t AI_MSG_ASSISTANT_UPDATE_KEY_WORD = 0x600061;
constexpr uint32_t AI_MSG_ASSISTANT_UPDATE_KEY_WORD_TYPE1 = 0x600062;
constexpr uint32_t AI_MSG_ASSISTANT_UPDATE_KEY_WORD_TYPE2 = 0x600063;
constexpr uint32_t AI_MSG_LOCK_STATE_CHANGE = 0x60006F;

// Status messages: their first 32-bit integer becomes an event of the main callback.
constexpr uint32_t AI_EVT_SERVICE_STATUS = 0x600012;
constexpr uint32_t AI_EVT_CAPTION_START = 0x600015;
constexpr uint32_t AI_EVT_CAPTION_STOP = 0x600016;
constexpr uint32_t AI_EVT_NAMEPLATE_START = 0x60001C;
constexpr uint32_t AI_EVT_NAMEPLATE_STOP = 0x60001D;
constexpr uint32_t AI_EVT_CHECKIN_CLEARED = 0x600029;
constexpr uint32_t AI_EVT_STATUS_2B = 0x60002B;
constexpr uint32_t AI_EVT_NOTICE_2F = 0x60002F;
constexpr uint32_t AI_EVT_SERVICE_UP_DOWN = 0x600033;
constexpr uint32_t AI_EVT_STATUS_37 = 0x600037;
constexpr uint32_t AI_EVT_LLM_INIT = 0x60003B;

// Messages whose payload goes to a callback as it came.
constexpr uint32_t AI_EVT_FACE = 0x60000C;
constexpr uint32_t AI_EVT_CAPTION_SWITCH = 0x600018;
constexpr uint32_t AI_EVT_CAPTION_1A = 0x60001A;
constexpr uint32_t AI_EVT_NOTICE_2D = 0x60002D;
constexpr uint32_t AI_EVT_CAPTION_38 = 0x600038;
constexpr uint32_t AI_EVT_NOTICE_39 = 0x600039;
constexpr uint32_t AI_EVT_LLM_3E = 0x60003E;
constexpr uint32_t AI_EVT_LLM_3F = 0x60003F;
constexpr uint32_t AI_EVT_LLM_40 = 0x600040;
constexpr uint32_t AI_EVT_ASSISTANT_FIRST = 0x60004A;  // twelve ids up to 0x600055

}  // namespace OrviAiService

#endif
