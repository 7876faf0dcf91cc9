#include "event_stream.h"

#include <condition_variable>
#include <deque>
#include <dlfcn.h>
#include <mutex>

#include "orvi_os_msg.h"

namespace orvi_ai {
namespace {

using orvi_protocol::FindMessage;
using orvi_protocol::FindValue;
using orvi_protocol::Message;
using orvi_protocol::Value;

constexpr size_t MOST_KEPT = 10000;

struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Event> kept;
    Output* output = nullptr;
    EventFilter printed;
    bool isInterrupted = false;
};

State& TheState() {
    static State& state = *new State;  // never destroyed: the library's thread runs to the end
    return state;
}

// A callback is told neither the message nor its length, and a payload's own length is not to be trusted: the message
// that is being dispatched on this thread has both.
thread_local const TagMsgBlock* g_current = nullptr;
OsMsgHandler g_handler = nullptr;

int Dispatch(TagMsgBlock* message) {
    g_current = message;
    const int result = g_handler(message);
    g_current = nullptr;
    return result;
}

bool HasValue(const Value& value, const std::string& expected) {
    for (const orvi_protocol::Word& word : value.field->words) {
        if (word.number == value.number && word.word == expected) {
            return true;
        }
    }
    if (value.field->type == orvi_protocol::Type::Flag && (expected == "true" || expected == "false")) {
        return value.number == (expected == "true" ? 1 : 0);
    }
    const bool isNumber =
        value.field->type == orvi_protocol::Type::Number || value.field->type == orvi_protocol::Type::Flag;
    return isNumber ? std::to_string(value.number) == expected : value.bytes == expected;
}

void Receive() {
    if (g_current == nullptr) {
        return;  // the library is not on the bus that this program sees
    }
    const Message* const message = FindMessage(g_current->msgId, false);
    if (message == nullptr) {
        return;
    }
    Event event{message, orvi_protocol::Decode(message->payload, g_current->data, g_current->dataLen)};
    State& state = TheState();
    std::unique_lock<std::mutex> lock(state.mutex);
    Output* const output = state.output;
    const bool isPrinted = output != nullptr && state.printed.Matches(event);
    lock.unlock();  // whoever reads the output may be slow, and an interrupt does not wait for that
    if (isPrinted) {
        output->Event(*message, event.decoded);
    }
    lock.lock();
    state.isInterrupted = state.isInterrupted || (output != nullptr && output->IsClosed());
    state.kept.push_back(std::move(event));
    if (state.kept.size() > MOST_KEPT) {
        state.kept.pop_front();
    }
    state.changed.notify_all();
}

}  // namespace

bool EventFilter::Matches(const Event& event) const {
    bool isNamed = names.empty();
    for (const std::string& name : names) {
        const bool isPrefix = !name.empty() && name.back() == '*';
        isNamed =
            isNamed || (isPrefix ? event.message->name.substr(0, name.size() - 1) == name.substr(0, name.size() - 1)
                                 : event.message->name == name);
    }
    for (const orvi_protocol::Setting& wanted : values) {
        const Value* const value = FindValue(event.decoded.values, wanted.path);
        isNamed = isNamed && value != nullptr && HasValue(*value, wanted.value);
    }
    return isNamed;
}

void Events::OnMain(OrviAiEventId, void*) {
    Receive();
}

void Events::OnCaption(OrviAiCaptionEventId, void*) {
    Receive();
}

void Events::OnFace(tagOrviAiSrvFaceDetEvent*) {
    Receive();
}

void Events::PrintTo(Output* output, EventFilter filter) {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.output = output;
    state.printed = std::move(filter);
}

bool Events::IsServiceGone(const Event& event) {
    if (event.message->name == "bus.exit") {
        return true;
    }
    const Value* const running = FindValue(event.decoded.values, "running");
    return event.message->name == "service.running" && running != nullptr && running->number == 0;
}

WaitEnd Events::Next(const EventFilter& filter, std::optional<Clock::time_point> deadline, Event* event) {
    State& state = TheState();
    std::unique_lock<std::mutex> lock(state.mutex);
    for (;;) {
        while (!state.kept.empty() && !state.isInterrupted) {
            Event next = std::move(state.kept.front());
            state.kept.pop_front();
            const bool isWanted = filter.Matches(next);
            const bool isGone = IsServiceGone(next);
            if (isWanted && event != nullptr) {
                *event = std::move(next);
            }
            if (isWanted || isGone) {
                return isWanted ? WaitEnd::Arrived : WaitEnd::ServiceGone;
            }
        }
        if (state.isInterrupted) {
            return WaitEnd::Interrupted;
        }
        if (!deadline) {
            state.changed.wait(lock);
        } else if (state.changed.wait_until(lock, *deadline) == std::cv_status::timeout && state.kept.empty()) {
            return state.isInterrupted ? WaitEnd::Interrupted : WaitEnd::OutOfTime;
        }
    }
}

WaitEnd Events::Pause(Clock::time_point deadline) {
    State& state = TheState();
    std::unique_lock<std::mutex> lock(state.mutex);
    const bool ended = state.changed.wait_until(lock, deadline, [&state] { return state.isInterrupted; });
    return ended ? WaitEnd::Interrupted : WaitEnd::OutOfTime;
}

void Events::Interrupt() {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.isInterrupted = true;
    state.changed.notify_all();
}

bool Events::IsInterrupted() {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    return state.isInterrupted;
}

}  // namespace orvi_ai

// The library registers its task through this program's own function, which stands before the bus's in the search.
extern "C" __attribute__((visibility("default"))) int OsMsgRegTask(const char* taskName, uint32_t queueSize,
                                                                   OsMsgHandler handler) {
    using RegTask = int (*)(const char*, uint32_t, OsMsgHandler);
    const auto regTask = reinterpret_cast<RegTask>(dlsym(RTLD_NEXT, "OsMsgRegTask"));
    if (regTask == nullptr) {
        return -1;
    }
    orvi_ai::g_handler = handler;
    return regTask(taskName, queueSize, &orvi_ai::Dispatch);
}
