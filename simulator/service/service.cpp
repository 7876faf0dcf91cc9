#include "service/service.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <mutex>
#include <utility>

#include "log.h"
#include "service/process_end.h"
#include "service/service_fault_point.h"

namespace orvi_sim {
namespace {

const char* const TASKS[] = {TASK_MASTER,    TASK_INTERFACE,     TASK_OM,     TASK_FACE, TASK_DIRECTOR,
                             TASK_ASSISTANT, TASK_STATE_MACHINE, TASK_HOTWORD};

constexpr uint32_t SELF_CHECK = 0x6FFFFF;  // the service's own: answered once its receive loop runs
constexpr uint32_t TASK_QUEUE_SIZE = 64;
constexpr size_t MOST_HELD_MESSAGES = 1024;
constexpr char UNANSWERED[] = "unanswered";

Service* g_service = nullptr;  // set before the first task is registered, for the life of the process

std::mutex g_busLineMutex;
char g_busLine[512];    // the bus's last line about itself: the reason of a refusal. Guarded by g_busLineMutex
bool g_joined = false;  // from then on its lines go to the log at once. Guarded by g_busLineMutex

void TakeBusLine(int level, const char* line) {
    size_t length = std::strlen(line);
    while (length != 0 && line[length - 1] == '\n') {
        --length;
    }
    const std::lock_guard<std::mutex> lock(g_busLineMutex);
    if (g_joined) {
        Log("%.*s", static_cast<int>(length), line);
    } else if (level <= 1) {
        // The bus is in the middle of something: nothing is thrown into it.
        g_busLine[std::min(length, sizeof(g_busLine) - 1)] = '\0';
        std::memcpy(g_busLine, line, std::min(length, sizeof(g_busLine) - 1));
    }
}

std::string BusReason(int result) {
    const std::lock_guard<std::mutex> lock(g_busLineMutex);
    return g_busLine[0] == '\0' ? "the bus says " + std::to_string(result) : g_busLine;
}

std::string Expected(const RequestRow& row) {
    if (row.shortest == row.longest) {
        return std::to_string(row.shortest);
    }
    return std::to_string(row.shortest) + " to " + std::to_string(row.longest);
}

// How the log calls a message: by its name where it has one.
std::string RequestName(uint32_t id, const RequestRow* row) {
    char number[16];
    std::snprintf(number, sizeof(number), "%#x", id);
    return row != nullptr ? row->name : number;
}

// Takes leave of an application at its own end; of nobody without a name.
class Farewell {
 public:
    Farewell(Stage& stage, ApplicationId application) : stage_(stage), application_(std::move(application)) {}
    ~Farewell() {
        if (!application_.process.empty()) {
            stage_.Forget(application_, "is gone: its process has exited");
        }
    }
    Farewell(const Farewell&) = delete;
    Farewell& operator=(const Farewell&) = delete;

 private:
    Stage& stage_;
    const ApplicationId application_;
};

}  // namespace

Service::Service(Stage& stage, StopSignal& stop, const std::vector<Feature*>& features) : stage_(stage), stop_(stop) {
    for (Feature* feature : features) {
        const RequestTable table = feature->Requests();
        for (size_t i = 0; i < table.count; ++i) {
            if (!entries_.emplace(table.rows[i].id, Entry{&table.rows[i], feature}).second) {
                Log("two rows for request %#x", table.rows[i].id);
                std::abort();
            }
        }
    }
}

Service::~Service() {
    Stop();
}

// --- The tasks ---

bool Service::Start(std::string& error) {
    g_service = this;
    OsMsgRegLogFunc(TakeBusLine);
    OsMsgSetLogLevel(1);
    if (const int result = OsMsgInit(orvi_protocol::SERVICE_PROCESS); result != 0) {
        error = std::string("cannot join the bus as ") + orvi_protocol::SERVICE_PROCESS + ": " + BusReason(result);
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
    (void)AtFaultPoint(FaultPoint::Announced);
    return true;
}

// Asks one of the own tasks: once a loop has answered, the process counts as started.
bool Service::AwaitAnnouncement() {
    TagMsgBlock block = BlockTo(orvi_protocol::SERVICE_PROCESS, TASK_MASTER);
    block.msgId = SELF_CHECK;
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
    traffic_.Stop();
    stage_.Stop();
    for (const char* task : registered_) {
        OsMsgUnregTask(orvi_protocol::SERVICE_PROCESS, 1, task);
    }
    registered_.clear();
}

void Service::RunLoop(const char* task) {
    if (const int result = OsMsgTaskRoutineByName(task); result != 0) {
        Log("the receive loop of %s ended: the bus says %d", task, result);
        stop_.Raise(1);
        OsMsgUnregTask(orvi_protocol::SERVICE_PROCESS, 1,
                       task);  // who waits for an answer of it is told by the hang-up
    }
}

int Service::OnMessage(TagMsgBlock* message) {
    try {
        g_service->Take(*message);
        return 0;
    } catch (const std::exception& exception) {
        NotHandled(*message, exception);
        return -1;
    }
}

// Its sender is told at once, if it still waits, by an answer without data.
void Service::NotHandled(const TagMsgBlock& message, const std::exception& exception) {
    Log("message %#x not handled: %s", message.msgId, exception.what());
    if (OrviHostMsgWantsReply(&message) != 0) {
        (void)OrviHostMsgReply(&message, nullptr, 0);  // not sent when it has been answered
    }
}

void Service::ServeLater(const Incoming& incoming) {
    try {
        Serve(incoming);
    } catch (const std::exception& exception) {
        NotHandled(incoming.block, exception);
    }
}

// --- A message's way ---

Request Service::Incoming::AsRequest() const {
    const auto* const data = kept.empty() ? static_cast<const uint8_t*>(block.data) : kept.data();
    return {block.msgId, sender, data, block.data != nullptr ? block.dataLen : 0, OrviHostMsgWantsReply(&block) != 0};
}

void Service::Take(const TagMsgBlock& message) {
    if (message.msgId == OS_MSG_PROC_EXITRESULT && message.procName[0] != '\0') {  // only the bus's own names a process
        Forget(message);
        return;
    }
    if (message.msgId == SELF_CHECK) {
        const uint8_t running = ORVI_SIM_DONE;
        (void)OrviHostMsgReply(&message, &running, sizeof(running));
        return;
    }
    const bool wantsReply = OrviHostMsgWantsReply(&message) != 0;
    if (wantsReply && AtFaultPoint(FaultPoint::BeforeRequest) == orvi_bus::Fault::kDrop) {
        return;
    }
    Incoming incoming{message, {}, {}, {}, 0};
    OrviHostMsgSender sender{};
    if (OrviHostMsgGetSender(&message, &sender) == 0) {
        incoming.sender = {NameField(sender.procName), sender.incarnation};
    }
    const Stage::Lock lock = stage_.Enter();
    if (!incoming.sender.process.empty()) {
        stage_.GetApplications().Meet(incoming.sender, sender.pid);
    }
    // The one place where a fault of a request is decided: before any feature hears of it.
    incoming.fault = faults_.Take(message.msgId, incoming.sender.process);
    const std::chrono::milliseconds delay = incoming.fault.delay;
    if (!incoming.fault.isHeld && delay.count() == 0) {
        Serve(std::move(incoming));
        return;
    }
    Note(incoming, UNANSWERED, nullptr);
    if (message.data != nullptr) {
        const auto* const bytes = static_cast<const uint8_t*>(message.data);
        incoming.kept.assign(bytes, bytes + message.dataLen);
    }
    if (incoming.fault.isHeld) {
        Hold(incoming);
    } else {
        stage_.After(delay, [this, incoming] { ServeLater(incoming); });
    }
}

void Service::Forget(const TagMsgBlock& event) {
    OrviHostMsgSender ended{};
    const Stage::Lock lock = stage_.Enter();
    ApplicationId application;
    if (OrviHostMsgGetSender(&event, &ended) == 0 && ended.procName[0] != '\0') {
        application = {NameField(ended.procName), ended.incarnation};
    } else {
        application = stage_.GetApplications().OfProcess(NameField(event.procName));
    }
    stage_.Forget(application, "is gone: its process has exited");
}

void Service::Hold(const Incoming& incoming) {
    if (held_.size() >= MOST_HELD_MESSAGES) {  // those of the dead keep nobody out: nobody waits for them
        const auto& alive = stage_.GetApplications().List();
        held_.erase(std::remove_if(held_.begin(), held_.end(),
                                   [&](const Incoming& held) { return alive.count(held.sender) == 0; }),
                    held_.end());
    }
    if (held_.size() >= MOST_HELD_MESSAGES) {
        Log("%s dropped: %zu are held back already",
            RequestName(incoming.block.msgId, FindRequest(incoming.block.msgId)).c_str(), held_.size());
        return;
    }
    held_.push_back(incoming);
}

// Two sequences: how many events there are does not change what happens to requests.
void Service::Seed(uint32_t seed) {
    faults_.Seed(seed);
    stage_.EventFaults().Seed(~seed);
}

size_t Service::Release(uint32_t id) {
    const auto firstOut = std::stable_partition(held_.begin(), held_.end(),
                                                [id](const Incoming& held) { return held.block.msgId != id; });
    const std::vector<Incoming> released(firstOut, held_.end());
    held_.erase(firstOut, held_.end());
    for (const Incoming& incoming : released) {
        ServeLater(incoming);
    }
    return released.size();
}

size_t Service::ReleaseAll() {
    const std::vector<Incoming> released = std::exchange(held_, {});
    for (const Incoming& incoming : released) {
        ServeLater(incoming);
    }
    return released.size();
}

bool Service::HoldsBack(uint32_t id) const {
    return std::any_of(held_.begin(), held_.end(), [id](const Incoming& held) { return held.block.msgId == id; });
}

const RequestRow* Service::FindRequest(uint32_t id) const {
    const auto found = entries_.find(id);
    return found != entries_.end() ? found->second.row : nullptr;
}

// What is wrong with a message before anybody has looked into it; empty when nothing is.
std::string Service::FaultOfForm(const Request& request, const Entry* entry, const std::string& task) const {
    if (request.sender.process.empty()) {
        return "its sender is not who it says";
    }
    if (stage_.GetApplications().List().count(request.sender) == 0) {
        return "there are too many applications";
    }
    if (entry == nullptr) {
        return "unknown id";
    }
    const RequestRow& row = *entry->row;
    if (task != row.task) {
        return std::string("belongs to ") + row.task + ", not to " + task;
    }
    if (request.length < row.shortest || request.length > row.longest) {
        return std::to_string(request.length) + " bytes, expected " + Expected(row);
    }
    if (request.wantsReply && row.reply == ONE_WAY) {
        return "is no request, but its sender waits for a reply";
    }
    if (row.hasAddress) {
        ClientAddress address;
        if (!request.Address(address)) {
            return "a name of the client is empty or has no end";
        }
        if (address.process != request.sender.process) {
            return "the address in it is that of " + address.process;
        }
    }
    return "";
}

// The handler's answer, or what the fault puts in its place.
Answer Service::Decide(const Request& request, const Entry* entry, const std::string& task, const Fault& fault) {
    Answer answer;
    if (fault.reply == Fault::Reply::Refusal) {
        answer.Refuse(fault.verdict, "as told");
        return answer;
    }
    if (fault.reply == Fault::Reply::NoData) {
        answer.NoData();
        return answer;
    }
    if (fault.reply == Fault::Reply::Given) {
        answer.Data(fault.given);
        return answer;
    }
    if (const std::string reason = FaultOfForm(request, entry, task); !reason.empty()) {
        answer.Refuse(ORVI_SIM_MALFORMED, reason);
        return answer;
    }
    try {
        (entry->feature->*entry->row->handler)(request, answer);
    } catch (const std::exception& exception) {
        answer.Refuse(ORVI_SIM_MALFORMED, std::string("not handled: ") + exception.what());
    }
    return answer;
}

// A sender that has not announced itself yet may tell its task in a request.
void Service::LearnTask(const Request& request, const Entry* entry) {
    ClientAddress address;
    if (entry != nullptr && entry->row->hasAddress && request.length >= ADDRESS_LENGTH && request.Address(address) &&
        address.process == request.sender.process) {
        stage_.GetApplications().LearnTask(request.sender, address.task);
    }
}

void Service::Serve(Incoming incoming) {
    const Request request = incoming.AsRequest();
    const auto found = entries_.find(request.id);
    const Entry* const entry = found != entries_.end() ? &found->second : nullptr;
    const std::string task = NameField(incoming.block.recvTaskName);
    LogVerbose("%s %#x \"%s\" on %s from %s, %u bytes", request.wantsReply ? "request" : "message", request.id,
               entry != nullptr ? entry->row->name : "unknown", task.c_str(), request.sender.process.c_str(),
               request.length);
    const bool isDropped = request.wantsReply && AtFaultPoint(FaultPoint::AcceptedRequest) == orvi_bus::Fault::kDrop;
    if (incoming.fault.isLost || isDropped || incoming.fault.crash == Fault::Crash::Before) {
        Note(incoming, UNANSWERED, nullptr);
        if (incoming.fault.crash == Fault::Crash::Before) {
            Log("crash, as told");
            Die();
        }
        LogVerbose("%#x is lost, as told", request.id);
        return;
    }
    for (int times = incoming.fault.isDouble ? 2 : 1; times > 0; --times) {
        Handle(incoming, entry, task);
    }
    if (incoming.fault.crash == Fault::Crash::After) {
        Log("crash, as told");
        Die();
    }
}

void Service::Handle(Incoming& incoming, const Entry* entry, const std::string& task) {
    const Request request = incoming.AsRequest();
    // It was said while its sender lived; what it has made for the sender goes again at once.
    const bool hasEnded = !request.sender.process.empty() && stage_.GetApplications().MeetEnded(request.sender);
    const Farewell farewell(stage_, hasEnded ? request.sender : ApplicationId{});
    LearnTask(request, entry);
    const Stage::InRequest inRequest(stage_, request.sender);
    const Answer answer = Decide(request, entry, task, incoming.fault);
    if (answer.IsRefused()) {
        LogRefusal(incoming, entry, answer.Reason());
        if (entry != nullptr && entry->row->reply == ONE_WAY) {
            entry->feature->OnRefused(request, answer.Reason());
        }
    }
    std::optional<Payload> reply = ReplyOf(incoming, entry, answer);
    Note(incoming, EndingOf(request, answer), reply ? &*reply : nullptr);
    if (request.wantsReply) {
        Reply(incoming.block, std::move(reply));
    }
    if (entry != nullptr) {
        TellVerdict(*entry->row, request, incoming.fault, answer);
    }
    inRequest.End();
}

void Service::Note(Incoming& incoming, const std::string& ending, const Payload* reply) {
    const Request request = incoming.AsRequest();
    stage_.Show(&Onlooker::Asked, request, ending, incoming.fault.IsAny(), reply);
    if (incoming.number == 0) {
        if (listener_ != nullptr) {
            listener_->OnAsked(request);
        }
        incoming.number = traffic_.Note(request, ending, stage_.SinceStart());
    } else {
        traffic_.End(incoming.number, ending);
    }
}

std::string Service::EndingOf(const Request& request, const Answer& answer) {
    if (answer.IsRefused()) {
        const uint8_t verdict = answer.Verdict();
        return std::string("refused ") + (verdict == ORVI_SIM_BUSY        ? "busy"
                                          : verdict == ORVI_SIM_NOT_READY ? "not-ready"
                                                                          : "malformed");
    }
    return request.wantsReply ? "answered" : "taken";
}

void Service::LogRefusal(const Incoming& incoming, const Entry* entry, const std::string& reason) {
    const std::string sender =
        incoming.sender.process.empty() ? "uid " + std::to_string(incoming.block.senderUid) : incoming.sender.process;
    Log("refused %s from %s: %s", RequestName(incoming.block.msgId, entry != nullptr ? entry->row : nullptr).c_str(),
        sender.c_str(), reason.c_str());
}

// Nothing for a one-way message, and for a reply without data.
std::optional<Payload> Service::ReplyOf(const Incoming& incoming, const Entry* entry, const Answer& answer) {
    const Request request = incoming.AsRequest();
    if (!request.wantsReply || answer.HasNoData()) {
        return std::nullopt;
    }
    Payload reply = answer.Reply();
    if (answer.IsRefused()) {
        reply = entry != nullptr ? RefusalOf(*entry->row, request, answer.Verdict()) : Payload{answer.Verdict()};
    }
    incoming.fault.Resize(reply);
    return reply;
}

void Service::Reply(const TagMsgBlock& block, std::optional<Payload> reply) {
    static const uint8_t nothing = 0;  // a reply of length 0 needs an address
    const orvi_bus::Fault fault = AtFaultPoint(FaultPoint::BeforeReply);
    if (fault == orvi_bus::Fault::kDrop) {
        return;
    }
    if (reply && fault == orvi_bus::Fault::kTruncate) {
        reply->resize(reply->size() / 2);
    } else if (reply && fault == orvi_bus::Fault::kCorrupt && !reply->empty()) {
        reply->front() = static_cast<uint8_t>(~reply->front());
    }
    const int result = !reply ? OrviHostMsgReply(&block, nullptr, 0)
                              : OrviHostMsgReply(&block, reply->empty() ? &nothing : reply->data(),
                                                 static_cast<uint32_t>(reply->size()));
    if (result != 0) {
        Log("reply to %#x not sent: the bus says %d", block.msgId, result);
    } else if (!reply) {
        LogVerbose("reply to %#x without data", block.msgId);
    } else {
        LogVerbose("reply to %#x, %zu bytes", block.msgId, reply->size());
    }
    (void)AtFaultPoint(FaultPoint::AfterReply);
}

// What is told agrees with the reply.
void Service::TellVerdict(const RequestRow& row, const Request& request, const Fault& fault, const Answer& answer) {
    uint8_t verdict = answer.Verdict();
    const bool isMadeUp = fault.reply == Fault::Reply::NoData || fault.reply == Fault::Reply::Given;
    if (!answer.IsRefused() && isMadeUp) {
        if (row.reply != VERDICT || answer.Reply().empty()) {
            return;  // there is no verdict in it
        }
        verdict = answer.Reply().front();
    }
    if (row.told == Told::Room && verdict == ORVI_SIM_DONE) {
        stage_.TellAll(row.id, IntegerPayload(verdict));
    } else if (row.told != Told::Nobody) {
        stage_.Tell(request.sender, row.id, IntegerPayload(verdict));
    }
}

}  // namespace orvi_sim
