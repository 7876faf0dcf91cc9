// The service's side: answers an application that lives as it was answered, and tells it what it was told.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <poll.h>
#include <set>
#include <thread>
#include <unistd.h>

#include "message.h"
#include "orvi_host_bus.h"
#include "replay.h"
#include "wire/deadline.h"
#include "wire/descriptor.h"

namespace orvi_bus_tool {
namespace {

constexpr int64_t MS = 1000000;
constexpr int64_t LAST_WORDS_NS = 200 * MS;  // what a process sent before it died is still handled for so long

void SetName(char (&field)[OS_MSG_NAME_SIZE], const std::string& name) {
    std::strncpy(field, name.c_str(), sizeof(field) - 1);
}

class ServiceSide {
 public:
    ServiceSide(Script& script, const ReplayOptions& options, EndSignal& end)
        : script_(script), options_(options), end_(end) {}
    ~ServiceSide() { Leave(); }
    ServiceSide(const ServiceSide&) = delete;
    ServiceSide& operator=(const ServiceSide&) = delete;

    int Play();

 private:
    struct Reply {
        TagMsgBlock request;
        size_t step;
        int64_t dueNs;
    };

    static int OnMessage(TagMsgBlock* message);
    bool Join();
    void Leave();
    void Take(const TagMsgBlock& message);
    bool Meet(const OrviHostMsgSender& sender);
    void WatchApplication();
    int64_t PlayReplies(int64_t nowNs);
    int64_t PlaySteps(int64_t nowNs);
    bool Tell(size_t step);
    void Wait(int64_t untilNs, bool isGone) const;
    bool IsOver(int64_t nowNs);

    static ServiceSide* g_side;  // set before the first task is registered

    Script& script_;
    const ReplayOptions& options_;
    EndSignal& end_;
    std::vector<std::string> tasks_;
    std::vector<std::thread> loops_;
    orvi_bus::Fd wake_ = orvi_bus::Fd::Event();
    orvi_bus::Fd process_;  // the application; empty while it is not watched
    bool hasNoRoom_ = false;
    bool isSubscribed_ = false;

    std::mutex mutex_;  // guards what follows, and script_
    std::string application_;
    uint32_t pid_ = 0;
    uint64_t incarnation_ = 0;
    int64_t goneNs_ = -1;  // when it ended
    int64_t lastNs_ = 0;   // when the last step happened
    std::vector<Reply> replies_;
};

ServiceSide* ServiceSide::g_side = nullptr;

bool ServiceSide::Join() {
    g_side = this;
    std::set<std::string> names;  // every task that an application may ask, asked here or not
    for (const orvi_protocol::Message* const message : orvi_protocol::AllMessages()) {
        if (orvi_protocol::ToService(message->direction)) {
            names.insert(std::string(message->task));
        }
    }
    if (!wake_ || OsMsgInit(orvi_protocol::SERVICE_PROCESS) != 0) {
        return false;
    }
    for (const std::string& name : names) {
        if (OsMsgRegTask(name.c_str(), REPLAY_QUEUE_SIZE, OnMessage) != 0) {
            return false;
        }
        tasks_.push_back(name);
    }
    for (const std::string& name : tasks_) {
        loops_.emplace_back([name] { (void)OsMsgTaskRoutineByName(name.c_str()); });
    }
    return true;
}

void ServiceSide::Leave() {
    for (const std::string& task : tasks_) {
        OrviHostMsgStopRoutine(task.c_str());
    }
    for (std::thread& loop : loops_) {
        loop.join();
    }
    for (const std::string& task : tasks_) {
        OsMsgUnregTask(orvi_protocol::SERVICE_PROCESS, 1, task.c_str());
    }
}

int ServiceSide::OnMessage(TagMsgBlock* message) {
    g_side->Take(*message);
    const uint64_t one = 1;
    return write(g_side->wake_.Get(), &one, sizeof(one)) == sizeof(one) ? 0 : -1;
}

// Whether it is from the one application that is played to: the first that says something.
bool ServiceSide::Meet(const OrviHostMsgSender& sender) {
    if (application_.empty() && sender.procName[0] != '\0') {
        application_ = sender.procName;
        pid_ = sender.pid;
        incarnation_ = sender.incarnation;
        script_.Told().MayStandFor(script_.Recorded().application, application_);
    }
    return !application_.empty() && application_ == sender.procName && incarnation_ == sender.incarnation;
}

void ServiceSide::Take(const TagMsgBlock& message) {
    OrviHostMsgSender sender{};
    (void)OrviHostMsgGetSender(&message, &sender);
    const std::lock_guard<std::mutex> lock(mutex_);
    const int64_t now = orvi_bus::MonotonicNs();
    if (message.msgId == OS_MSG_PROC_EXITRESULT) {
        goneNs_ = goneNs_ < 0 && Meet(sender) ? now : goneNs_;
        return;
    }
    const bool isRequest = OrviHostMsgWantsReply(&message) != 0;
    const auto* const bytes = static_cast<const uint8_t*>(message.data);
    const Contents seen =
        bytes != nullptr ? Contents(std::vector<uint8_t>(bytes, bytes + message.dataLen)) : std::nullopt;
    std::optional<size_t> step;
    if (Meet(sender)) {
        step = script_.Take(true, isRequest, message.msgId, seen);
    } else {
        script_.Told().Add(sender.procName[0] != '\0' ? sender.procName : "somebody",
                           "another application says something");
    }
    if (!step) {
        if (isRequest) {
            (void)OrviHostMsgReply(&message, nullptr, 0);  // nobody waits for what was never said
        }
        return;
    }
    lastNs_ = now;
    const Step& recorded = script_.At(*step);
    if (recorded.isAnswered) {
        replies_.push_back({message, *step, now + Played(recorded.replyNs - recorded.startNs, options_.speed)});
    }
}

// The bus tells its end after its last message, but not of who has ended already when that is asked for, and not when
// it cannot look: so the process is looked at here, too. Where that fails for now it is tried again.
void ServiceSide::WatchApplication() {
    std::string name;
    uint32_t pid = 0;
    bool isGone = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        name = application_;
        pid = pid_;
        isGone = goneNs_ >= 0;
    }
    if (name.empty() || isGone) {
        return;
    }
    if (!isSubscribed_) {
        OsMsgSubscribeEntry entry{};
        entry.eventId = OS_MSG_PROC_EXITRESULT;
        SetName(entry.procName, name);
        SetName(entry.procNameAgain, name);
        SetName(entry.taskName, tasks_.front());
        isSubscribed_ = OsMsgSubscribeEvent(&entry, 1) == 0;
    }
    if (pid == 0) {
        return;  // of another namespace: only the bus can tell
    }
    bool hasEnded = false;
    if (!process_) {
        process_ = orvi_bus::Fd::Pid(static_cast<pid_t>(pid));
        hasEnded = !process_ && errno == ESRCH;
    }
    pollfd entry{process_.Get(), POLLIN, 0};
    if (hasEnded || (process_ && poll(&entry, 1, 0) > 0)) {
        const std::lock_guard<std::mutex> lock(mutex_);
        goneNs_ = goneNs_ < 0 ? orvi_bus::MonotonicNs() : goneNs_;
    }
}

// Both return when there is more to do.
int64_t ServiceSide::PlayReplies(int64_t nowNs) {
    int64_t next = INT64_MAX;
    for (size_t i = 0; i < replies_.size();) {
        if (replies_[i].dueNs > nowNs) {
            next = std::min(next, replies_[i].dueNs);
            ++i;
            continue;
        }
        static const uint8_t nothing = 0;  // a reply of length 0 needs an address
        const Contents reply = script_.ReplyOf(replies_[i].step);
        const int result = OrviHostMsgReply(&replies_[i].request,
                                            !reply           ? nullptr
                                            : reply->empty() ? &nothing
                                                             : reply->data(),
                                            reply ? static_cast<uint32_t>(reply->size()) : 0);
        if (result != 0) {
            script_.Told().Add(script_.Which(replies_[i].step), "its asker does not wait any more");
        }
        replies_.erase(replies_.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return next;
}

// An event follows all that was said before it, at the recorded distance.
int64_t ServiceSide::PlaySteps(int64_t nowNs) {
    hasNoRoom_ = false;
    while (!script_.IsOver() && !application_.empty()) {
        const size_t step = script_.FirstOpen();
        const int64_t gap = step > 0 ? script_.At(step).startNs - script_.At(step - 1).startNs : 0;
        const int64_t due = lastNs_ + Played(gap, options_.speed);
        const bool isNowhere = !script_.At(step).isToService && script_.Task().empty();
        if (script_.At(step).isToService || isNowhere) {
            const int64_t last = due + static_cast<int64_t>(options_.patienceMs * 1e6);
            if (nowNs < last) {
                return last;  // whoever names the task wakes this
            }
            script_.Miss(step, isNowhere ? "the application has not said where it receives" : "did not come in time");
            lastNs_ = nowNs;
            continue;
        }
        if (nowNs < due) {
            return due;
        }
        if (!Tell(step)) {
            hasNoRoom_ = true;
            return nowNs + 10 * MS;
        }
        lastNs_ = nowNs;
    }
    return INT64_MAX;
}

// False when there is no room for it now.
bool ServiceSide::Tell(size_t step) {
    std::vector<uint8_t> bytes = script_.ContentsOf(step).value_or(std::vector<uint8_t>());
    TagMsgBlock block{};
    SetName(block.recvProcName, application_);
    SetName(block.recvTaskName, script_.Task());
    block.msgId = script_.At(step).id;
    block.data = bytes.empty() ? nullptr : bytes.data();
    block.dataLen = static_cast<uint32_t>(bytes.size());
    const int result = OrviHostMsgTrySend(&block);
    if (result == ORVI_BUS_E_WOULD_BLOCK) {
        return false;
    }
    if (result != 0) {
        script_.FindItGone(step);
    } else {
        script_.Done(step);
    }
    return true;
}

void ServiceSide::Wait(int64_t untilNs, bool isGone) const {
    constexpr int64_t LONGEST_MS = 1000;  // then the application is looked for where it is not watched
    const int64_t left = std::max<int64_t>(untilNs - orvi_bus::MonotonicNs(), 0);
    const int ms = static_cast<int>(std::min<int64_t>(left / MS + 1, LONGEST_MS));
    if (hasNoRoom_) {
        (void)OrviHostMsgAwaitRoom(end_.Descriptor(), static_cast<uint32_t>(ms));
        return;
    }
    pollfd entries[] = {
        {end_.Descriptor(), POLLIN, 0}, {wake_.Get(), POLLIN, 0}, {isGone ? -1 : process_.Get(), POLLIN, 0}};
    (void)poll(entries, 3, ms);
    uint64_t count = 0;
    (void)!read(wake_.Get(), &count, sizeof(count));
}

bool ServiceSide::IsOver(int64_t nowNs) {
    const bool isGone = goneNs_ >= 0 && (script_.IsOver() || nowNs - goneNs_ > LAST_WORDS_NS);
    return isGone || (script_.IsOver() && replies_.empty() && options_.exitAtEnd);
}

int ServiceSide::Play() {
    if (!Join()) {
        return Fail("cannot play the service");
    }
    std::fprintf(stderr, "orvi-bus: plays the service; Ctrl-C ends it\n");
    const int64_t last = options_.limits.forMs != 0
                             ? orvi_bus::MonotonicNs() + static_cast<int64_t>(options_.limits.forMs * 1e6)
                             : INT64_MAX;
    pollfd ended{end_.Descriptor(), POLLIN, 0};
    for (bool goesOn = true; goesOn;) {
        WatchApplication();
        int64_t next = last;
        std::string lines;
        bool isGone = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            const int64_t now = orvi_bus::MonotonicNs();
            next =
                std::min({next, PlayReplies(now), PlaySteps(now), goneNs_ >= 0 ? goneNs_ + LAST_WORDS_NS : INT64_MAX});
            goesOn = !IsOver(now) && now < last;
            lines = script_.Told().Take();
            isGone = goneNs_ >= 0;
        }
        goesOn = end_.Print(lines) && goesOn && poll(&ended, 1, 0) == 0;
        if (goesOn) {
            Wait(next, isGone);
        }
    }
    Leave();
    tasks_.clear();
    loops_.clear();
    if (application_.empty()) {
        std::fprintf(stderr, "orvi-bus: no application came\n");
        return NOBODY;
    }
    while (!script_.IsOver() && !script_.At(script_.FirstOpen()).isToService && goneNs_ >= 0) {
        script_.FindItGone(script_.FirstOpen());
    }
    script_.MissAll("did not happen");
    (void)end_.Print(script_.Told().Take());
    return DONE;
}

}  // namespace

int PlayService(Script& script, const ReplayOptions& options, EndSignal& end) {
    return ServiceSide(script, options, end).Play();
}

}  // namespace orvi_bus_tool
