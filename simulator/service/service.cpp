#include "service.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <mutex>
#include <utility>

#include "log.h"
#include "request_tables.h"

namespace orvi_sim {
namespace {

const char* const TASKS[] = {TASK_MASTER,    TASK_INTERFACE,     TASK_OM,     TASK_FACE, TASK_DIRECTOR,
                             TASK_ASSISTANT, TASK_STATE_MACHINE, TASK_HOTWORD};

constexpr uint32_t TASK_QUEUE_SIZE = 64;
constexpr size_t MOST_HELD = 1024;

Service* g_service = nullptr;  // set before the first task is registered, for the life of the process

std::mutex g_busLineMutex;
std::string g_busLine;  // the bus's last line about itself: the reason of a refusal. Guarded by g_busLineMutex
bool g_joined = false;  // from then on its lines go to the log at once. Guarded by g_busLineMutex

void TakeBusLine(int level, const char* line) {
    std::string text = line;
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    const std::lock_guard<std::mutex> lock(g_busLineMutex);
    if (g_joined) {
        Log("%s", text.c_str());
    } else if (level <= 1) {
        g_busLine = text;
    }
}

std::string BusReason(int result) {
    const std::lock_guard<std::mutex> lock(g_busLineMutex);
    return g_busLine.empty() ? "the bus says " + std::to_string(result) : g_busLine;
}

std::string Expected(const RequestRow& row) {
    if (row.shortest == row.longest) {
        return std::to_string(row.shortest);
    }
    return std::to_string(row.shortest) + " to " + std::to_string(row.longest);
}

}  // namespace

Service::Service(StopSignal& stop, size_t queueCapacity) : stop_(stop), clients_(queueCapacity) {}

Service::~Service() {
    Stop();
}

bool Service::Start(std::string& error) {
    g_service = this;
    OsMsgRegLogFunc(TakeBusLine);
    OsMsgSetLogLevel(1);
    if (const int result = OsMsgInit(SERVICE_NAME); result != 0) {
        error = std::string("cannot join the bus as ") + SERVICE_NAME + ": " + BusReason(result);
        return false;
    }
    for (const char* task : TASKS) {
        if (const int result = OsMsgRegTask(task, TASK_QUEUE_SIZE, OnMessage); result != 0) {
            error = std::string("cannot register the task ") + task + ": " + BusReason(result);
            return false;
        }
        registered_.push_back(task);
    }
    {
        const std::lock_guard<std::mutex> lock(g_busLineMutex);
        g_joined = true;
    }
    // The first loop makes the bus announce the service, so every task had to be reachable before.
    for (const char* task : TASKS) {
        loops_.emplace_back(&Service::RunLoop, this, task);
    }
    if (!AwaitAnnouncement()) {
        error = "the receive loops do not run: " + BusReason(0);
        return false;
    }
    return true;
}

// Asks one of the own tasks: once a loop has answered, the process counts as started.
bool Service::AwaitAnnouncement() {
    TagMsgBlock block = BlockTo(SERVICE_NAME, TASK_MASTER);
    block.msgId = REQUEST_SELF_CHECK;
    TagMsgBlock* reply = nullptr;
    if (OsMsgSynSend(&block, &reply, 0) != 0) {
        return false;
    }
    OsMsgSynRespFree(reply);
    return true;
}

void Service::Stop() {
    for (const char* task : registered_) {
        OrviHostMsgStopRoutine(task);
    }
    for (std::thread& loop : loops_) {
        loop.join();
    }
    loops_.clear();
    timer_.Stop();
    traffic_.Stop();
    clients_.Stop();
    for (const char* task : registered_) {
        OsMsgUnregTask(SERVICE_NAME, 1, task);
    }
    registered_.clear();
}

bool Service::AddClient(const ClientAddress& address, std::string& error) {
    const Clients::Added added = clients_.Add(address, error);
    if (added == Clients::Added::New && onClientAdded) {
        onClientAdded(address);
    }
    return added != Clients::Added::Refused;
}

bool Service::AddClientOf(const Request& request, Answer& answer) {
    ClientAddress address;
    std::string error;
    if (!request.AddressAt(0, address)) {
        answer.Refuse("a name of the client is empty or has no end");
        return false;
    }
    if (!clients_.Knows(address) && !AddClient(address, error)) {
        answer.Refuse(error);
        return false;
    }
    return true;
}

void Service::RunLoop(const char* task) {
    if (const int result = OsMsgTaskRoutineByName(task); result != 0) {
        Log("the receive loop of %s ended: the bus says %d", task, result);
        stop_.Raise(1);
    }
}

int Service::OnMessage(TagMsgBlock* message) {
    try {
        g_service->Handle(*message);
        return 0;
    } catch (const std::exception& exception) {
        // A caller that waits is not left without an answer.
        Log("message %#x not handled: %s", message->msgId, exception.what());
        if (OrviHostMsgWantsReply(message) != 0) {
            const uint8_t refused = 1;
            OrviHostMsgReply(message, &refused, sizeof(refused));
        }
        return -1;
    }
}

void Service::Handle(const TagMsgBlock& message) {
    if (message.msgId == OS_MSG_PROC_EXITRESULT) {
        clients_.DropProcess(NameField(message.procName));
        return;
    }
    const Request request{message.msgId, message.senderUid, static_cast<const uint8_t*>(message.data),
                          message.data != nullptr ? message.dataLen : 0, OrviHostMsgWantsReply(&message) != 0};
    const std::string task = NameField(message.recvTaskName);
    Answer answer;
    Dispatch(request, task, answer);
    if (!answer.Refusal().empty()) {
        const RequestRow* row = FindRequest(request.id);
        Log("refused %#x \"%s\" on %s from uid %u: %s", request.id, row != nullptr ? row->name : "unknown",
            task.c_str(), request.senderUid, answer.Refusal().c_str());
    }
    traffic_.Note(request);
    Finish(message, request, answer);
}

void Service::Dispatch(const Request& request, const std::string& task, Answer& answer) {
    const RequestRow* row = FindRequest(request.id);
    if (row == nullptr) {
        answer.Refuse("unknown id");
        return;
    }
    LogVerbose("%s %#x \"%s\" on %s, %u bytes", request.wantsReply ? "request" : "message", request.id, row->name,
               task.c_str(), request.length);
    if (task != row->task) {
        answer.Refuse(std::string("belongs to ") + row->task);
        return;
    }
    if (request.length < row->shortest || request.length > row->longest) {
        answer.Refuse(std::to_string(request.length) + " bytes, expected " + Expected(*row));
        return;
    }
    row->handler(*this, request, answer);
    if (request.wantsReply && !answer.HasReply()) {
        answer.Refuse("is no request, but its sender waits for a reply");
    }
}

void Service::Finish(const TagMsgBlock& message, const Request& request, const Answer& answer) {
    if (!request.wantsReply) {
        PushEvents(answer);
        return;
    }
    const Fault fault = faults_.Find(request.id);
    if (fault.hold) {
        Hold(message, fault, answer);
        return;
    }
    if (fault.delay.count() == 0) {
        SendReply(message, fault, answer);
        return;
    }
    // The block is copied for later; its payload is not, and is not needed any more.
    timer_.After(fault.delay, [this, message, fault, answer] { SendReply(message, fault, answer); });
}

void Service::SendReply(const TagMsgBlock& message, const Fault& fault, const Answer& answer) {
    static const uint8_t nothing = 0;  // a reply of length 0 needs an address
    const Payload* data = &answer.Reply();
    switch (fault.reply) {
        case Fault::Reply::Silent:
            LogVerbose("no reply to %#x, as told", message.msgId);
            return;
        case Fault::Reply::NoData:
            data = nullptr;
            break;
        case Fault::Reply::Given:
            data = &fault.given;
            break;
        case Fault::Reply::AsUsual:
            break;
    }
    const int result = data == nullptr ? OrviHostMsgReply(&message, nullptr, 0)
                                       : OrviHostMsgReply(&message, data->empty() ? &nothing : data->data(),
                                                          static_cast<uint32_t>(data->size()));
    if (result != 0) {
        Log("reply to %#x not sent: the bus says %d", message.msgId, result);
    } else if (data == nullptr) {
        LogVerbose("reply to %#x without data", message.msgId);
    } else {
        LogVerbose("reply to %#x, %zu bytes", message.msgId, data->size());
    }
    PushEvents(answer);
}

void Service::Hold(const TagMsgBlock& message, const Fault& fault, const Answer& answer) {
    const std::lock_guard<std::mutex> lock(heldMutex_);
    if (held_.size() >= MOST_HELD) {
        Log("reply to %#x dropped: %zu are held back already", message.msgId, held_.size());
        return;
    }
    held_.push_back({message, fault, answer});
}

size_t Service::Release(uint32_t id) {
    std::vector<Held> released;
    {
        const std::lock_guard<std::mutex> lock(heldMutex_);
        const auto firstOut = std::stable_partition(held_.begin(), held_.end(),
                                                    [id](const Held& held) { return held.message.msgId != id; });
        released.assign(firstOut, held_.end());
        held_.erase(firstOut, held_.end());
    }
    for (const Held& held : released) {
        SendReply(held.message, held.fault, held.answer);
    }
    return released.size();
}

void Service::PushEvents(const Answer& answer) {
    for (const Answer::Event& event : answer.Events()) {
        clients_.PushToAll(event.id, event.payload);
    }
}

}  // namespace orvi_sim
