// The voice assistant: three tasks, most messages one-way.
#include <iterator>
#include <string>
#include <utility>

#include "request_tables.h"
#include "service.h"

namespace orvi_sim {
namespace {

constexpr uint32_t PAGE_INFO_LENGTH = 44;
constexpr uint32_t INTENT_NAME_SIZE = 256;
constexpr uint32_t MOST_INTENTS = 64;
constexpr uint32_t LONGEST_HOTWORD_KEY = 1U << 20;
constexpr char HOTWORD_PREFIX[] = "param_hot_word_";

// Belong to the assistant task's thread.
uint32_t g_status = 0;
Payload g_pageInfo(PAGE_INFO_LENGTH);

void InitIntents(Service&, const Request& request, Answer& answer) {
    const uint32_t count = request.IntegerAt(0);
    if (count > MOST_INTENTS || request.length != 4 + INTENT_NAME_SIZE * count) {
        answer.Refuse(std::to_string(count) + " intents do not fill " + std::to_string(request.length) + " bytes");
    }
}

void WakeUp(Service&, const Request&, Answer&) {
    g_status = 1;
}

void Sleep(Service&, const Request&, Answer&) {
    g_status = 0;
}

void SetPageInfo(Service&, const Request& request, Answer&) {
    g_pageInfo = request.BytesAt(0, PAGE_INFO_LENGTH);
}

void GetPageInfo(Service&, const Request&, Answer& answer) {
    answer.Data(g_pageInfo);
}

void GetStatus(Service&, const Request&, Answer& answer) {
    Payload status;
    AppendInteger(status, g_status);
    answer.Data(std::move(status));
}

// A key is text: a prefix, the application's id and, in an update, ':' and the words.
void Hotword(Service&, const Request& request, Answer& answer) {
    std::string key;
    if (!request.TextAt(0, request.length, key) || key.size() + 1 != request.length) {
        answer.Refuse("the hot-word key does not end with the payload");
    } else if (key.rfind(HOTWORD_PREFIX, 0) != 0) {
        answer.Refuse("the hot-word key does not begin with param_hot_word_");
    }
}

const RequestRow ROWS[] = {
    // id, name, task, shortest, longest, handler
    {0x600056, "assistant init intent", TASK_ASSISTANT, 4, 4 + INTENT_NAME_SIZE* MOST_INTENTS, InitIntents},
    {0x600057, "assistant request tts", TASK_STATE_MACHINE, 1032, 1032, TakeNotice},
    {0x600058, "assistant intent result", TASK_ASSISTANT, 1052, 1052, TakeNotice},
    {0x600059, "assistant display card", TASK_ASSISTANT, 20880, 20880, TakeNotice},
    {0x60005A, "assistant choose item", TASK_ASSISTANT, 272, 272, TakeNotice},
    {0x60005B, "assistant sleep", TASK_ASSISTANT, 0, 0, Sleep},
    {0x60005C, "assistant wake up", TASK_ASSISTANT, 4, 4, WakeUp},
    {0x60005D, "assistant set page info", TASK_ASSISTANT, PAGE_INFO_LENGTH, PAGE_INFO_LENGTH, SetPageInfo},
    {0x60005E, "assistant get page info", TASK_ASSISTANT, 0, 0, GetPageInfo},
    {0x60005F, "assistant get status", TASK_ASSISTANT, 0, 0, GetStatus},
    {0x600060, "assistant init key word", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, Hotword},
    {0x600061, "assistant update key word", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, Hotword},
    {0x600062, "assistant update key word, type 1", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, Hotword},
    {0x600063, "assistant update key word, type 2", TASK_HOTWORD, 1, LONGEST_HOTWORD_KEY, Hotword},
};

}  // namespace

RequestTable AssistantRequests() {
    return {ROWS, std::size(ROWS)};
}

}  // namespace orvi_sim
