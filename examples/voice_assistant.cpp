// A concierge that books meeting rooms by voice: registers an intent and a hot word, answers the intent with a
// question and a card, and the choice with a confirmation. Ends when the conversation is over.
//
// Try it with the simulated service in a second terminal:
//   orvi-vision-sim --control        and there:  say hey concierge, book a room        say the garden room
//
// The contents of events and cards are between an application and its service. This program knows those of the
// simulated one; for a device's service other records stand in place of OrviSimAssistant*.
#include <cstdio>
#include <cstring>
#include <future>
#include <string>

#include "orvi_ai_srv.h"
#include "orvi_vision_sim_payloads.h"

namespace {

std::promise<void> g_over;

void End() {
    try {
        g_over.set_value();
    } catch (const std::future_error&) {
        // it has ended before
    }
}

// Every record begins with its length.
template <class Record>
Record Copy(const void* payload) {
    Record record;
    OrviSimReadRecord(&record, sizeof(record), payload);
    return record;
}

void Check(int result, const char* what) {
    if (result != 0) {
        std::printf("voice_assistant: cannot %s, the log has the reason\n", what);
    }
}

void Answer(uint32_t seq, bool isFinal, const std::string& text) {
    OrviAiAssistantIntentResult result{};
    result.isFinal = isFinal ? 1 : 0;
    std::snprintf(result.tts, sizeof(result.tts), "%s", text.c_str());
    Check(OrviAiAssistantNotifyIntentResult(seq, result), "answer");
}

void ShowRooms(uint32_t seq) {
    const char* const rooms[] = {"the large room", "the garden room", "the quiet room"};
    OrviSimAssistantCard card{};
    std::snprintf(card.title, sizeof(card.title), "Free rooms");
    for (const char* room : rooms) {
        OrviSimAssistantItem& item = card.items[card.itemCount++];
        item.id = card.itemCount;
        std::snprintf(item.text, sizeof(item.text), "%s", room);
    }
    OrviAiAssistantCard record;
    static_assert(sizeof(record) == sizeof(card), "a card is a card");
    std::memcpy(&record, &card, sizeof(record));
    Check(OrviAiAssistantDisplayCard(seq, record), "show a card");
}

void OnIntent(const OrviSimAssistantIntent& intent) {
    std::printf("voice_assistant: intent %s: %s\n", intent.name, intent.text);
    if (intent.itemId == 0) {
        Answer(intent.seq, false, "Which room would you like?");
        ShowRooms(intent.seq);  // the assistant listens when it has spoken
    } else {
        Answer(intent.seq, true, std::string("I have booked ") + intent.text + ".");
    }
}

// Runs on the library's message thread, and may call every function of the library.
void OnEvent(OrviAiEventId event, void* payload) {
    if (event == ORVI_AI_EVENT_SERVICE_EXIT) {
        std::puts("voice_assistant: the service has gone");
        End();
    }
    if (payload == nullptr) {
        return;
    }
    switch (event) {
        case ORVI_AI_EVENT_ASSISTANT_WAKE_UP:
            std::printf("voice_assistant: awake by \"%s\"\n", Copy<OrviSimAssistantWakeUp>(payload).word);
            break;
        case ORVI_AI_EVENT_ASSISTANT_LISTEN:
            std::puts("voice_assistant: it listens");
            break;
        case ORVI_AI_EVENT_ASSISTANT_ASR_TEXT: {
            const auto text = Copy<OrviSimAssistantText>(payload);
            std::printf("voice_assistant: heard%s: %s\n", text.phase == ORVI_SIM_ASSISTANT_TEXT_FINAL ? "" : " so far",
                        text.text);
            break;
        }
        case ORVI_AI_EVENT_ASSISTANT_INTENT_NOTIFY:
            OnIntent(Copy<OrviSimAssistantIntent>(payload));
            break;
        case ORVI_AI_EVENT_ASSISTANT_TTS_TEXT: {
            const auto text = Copy<OrviSimAssistantText>(payload);
            if (text.phase == ORVI_SIM_ASSISTANT_TEXT_BEGINS) {
                std::printf("voice_assistant: it says: %s\n", text.text);
            }
            break;
        }
        case ORVI_AI_EVENT_ASSISTANT_DISPLAY_CARD:
            std::printf("voice_assistant: on the screen: %s\n", Copy<OrviSimAssistantCardShown>(payload).card.title);
            break;
        case ORVI_AI_EVENT_ASSISTANT_CHOOSE_ONE: {
            const auto choice = Copy<OrviSimAssistantChoice>(payload);
            for (uint32_t i = 0; i < choice.itemCount; ++i) {
                std::printf("voice_assistant: %u: %s\n", choice.items[i].id, choice.items[i].text);
            }
            break;
        }
        case ORVI_AI_EVENT_ASSISTANT_SERVER_ERROR:
            std::printf("voice_assistant: error: %s\n", Copy<OrviSimAssistantError>(payload).text);
            break;
        case ORVI_AI_EVENT_ASSISTANT_SLEEP:
            std::puts("voice_assistant: asleep");
            End();
            break;
        default:
            break;
    }
}

}  // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // a line is seen when it is written, also through a pipe
    tagOrviAppInfo identity{};
    std::snprintf(identity.appId, sizeof(identity.appId), "concierge");
    OrviAiAssistantIntentName intent{};
    std::snprintf(intent.name, sizeof(intent.name), "book_room");
    std::string hotWords = "hey concierge";
    if (OrviAiSrvApiInit(identity, OnEvent) != 0 || OrviAiAssistantInitIntent(&intent, 1) != 0 ||
        OrviAiAssistantInitKeyWord(identity) != 0 ||
        OrviAiAssistantUpdateKeyWord(identity, ORVI_AI_HOTWORD_UPDATE, hotWords) != 0) {
        std::puts("voice_assistant: there is no service to talk to, the log has the reason");
        return 1;
    }
    std::puts("voice_assistant: ready, say \"hey concierge, book a room\"");
    g_over.get_future().wait();
    return OrviAiSrvApiDeinit() == 0 ? 0 : 1;
}
