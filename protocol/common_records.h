// Records and words that messages of several features share.
#ifndef ORVI_PROTOCOL_COMMON_RECORDS_H
#define ORVI_PROTOCOL_COMMON_RECORDS_H

#include "orvi_vision_sim_payloads.h"
#include "record.h"
#include "wire_records.h"

namespace orvi_protocol {

constexpr uint32_t WAIT_REPLY = 3000;  // milliseconds

constexpr std::string_view TASK_MASTER = "ai_v_task_m";
constexpr std::string_view TASK_INTERFACE = "ai_v_task_i";
constexpr std::string_view TASK_OM = "ai_om_task";
constexpr std::string_view TASK_FACE = "ai_face_task";
constexpr std::string_view TASK_DIRECTOR = "VDirector";
constexpr std::string_view TASK_ASSISTANT = "ai_assist_task";
constexpr std::string_view TASK_STATE_MACHINE = "ai_state_mach";
constexpr std::string_view TASK_HOT_WORD = "ai_hotword_task";

template <class Struct>
constexpr Record Whole(std::string_view name, Rows<Field> fields) {
    return {name, static_cast<uint32_t>(sizeof(Struct)), static_cast<uint32_t>(sizeof(Struct)), fields};
}

// A field that takes the place of a whole payload.
constexpr Place AtStart(uint32_t size, bool isSigned) {
    return {0, size, size, isSigned};
}

inline constexpr Field CLIENT_FIELDS[] = {
    Text("process", ORVI_PLACE(tagAiTaskBasicInfo, proc), "its name on the bus"),
    Text("task", ORVI_PLACE(tagAiTaskBasicInfo, task), "the task that receives events"),
    Number("cpu", ORVI_PLACE(tagAiTaskBasicInfo, cpu), "always 1").Initially("1"),
};
inline constexpr Record CLIENT = Whole<tagAiTaskBasicInfo>("client", CLIENT_FIELDS);

// Payload of a request that carries the client's address alone.
inline constexpr Field CLIENT_ALONE_FIELDS[] = {
    Sub("client", AtStart(sizeof(tagAiTaskBasicInfo), false), CLIENT, "who asks"),
};
inline constexpr Record CLIENT_ALONE = Whole<tagAiTaskBasicInfo>("client alone", CLIENT_ALONE_FIELDS);

inline constexpr Word VERDICT_WORDS[] = {
    {ORVI_SIM_DONE, "done"},
    {ORVI_SIM_MALFORMED, "malformed"},
    {ORVI_SIM_NOT_READY, "not-ready"},
    {ORVI_SIM_BUSY, "busy"},
};

inline constexpr Field VERDICT_FIELDS[] = {
    Number("verdict", AtStart(1, false), "0 = done").Named(VERDICT_WORDS),
};
inline constexpr Record VERDICT = {"verdict", 1, 1, VERDICT_FIELDS};

// What the simulated service answers in the place of a record of so many bytes when it refuses: four bytes more, so that
// the call fails.
template <uint32_t Size>
inline constexpr Field REFUSAL_OF_FIELDS[] = {
    Reserved("record", {0, Size, Size, false}),
    Number("verdict", {Size, 4, 4, false}, "why not").Named(VERDICT_WORDS),
};
template <uint32_t Size>
inline constexpr Record REFUSAL_OF = {"refusal of a record", Size + 4, Size + 4, REFUSAL_OF_FIELDS<Size>};

// Payload of a status message that tells how a request ended.
inline constexpr Field OUTCOME_FIELDS[] = {
    Number("verdict", AtStart(4, true), "0 = done").Named(VERDICT_WORDS),
};
inline constexpr Record OUTCOME = {"outcome", 4, 4, OUTCOME_FIELDS};

inline constexpr Field NUMBER_FIELDS[] = {
    Number("number", AtStart(4, true), "what the service tells"),
};
inline constexpr Record NUMBER = {"number", 4, 4, NUMBER_FIELDS};

}  // namespace orvi_protocol

#endif
