// The application's side: says to a service that lives what was said, a thread for each that said something, and compares
// what comes back.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <poll.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "message.h"
#include "orvi_host_bus.h"
#include "replay.h"
#include "wire/deadline.h"
#include "wire/descriptor.h"

namespace orvi_bus_tool {
namespace {

class ApplicationSide {
 public:
    ApplicationSide(Script& script, const ReplayOptions& options, EndSignal& end)
        : script_(script), options_(options), end_(end), patience_(static_cast<int64_t>(options.patienceMs * 1000)) {}
    ~ApplicationSide() { Leave(); }
    ApplicationSide(const ApplicationSide&) = delete;
    ApplicationSide& operator=(const ApplicationSide&) = delete;

    int Play();

 private:
    using Clock = std::chrono::steady_clock;

    static int OnMessage(TagMsgBlock* message);
    bool Join();
    void Leave();
    void Take(const TagMsgBlock& message);
    void RunThread(const std::vector<size_t>& steps);
    bool AwaitTurn(std::unique_lock<std::mutex>& lock, size_t step);
    bool IsNext(size_t step) const;
    void Say(size_t step);
    void Happened();
    bool Wait();

    static ApplicationSide* g_side;  // set before the task is registered

    Script& script_;
    const ReplayOptions& options_;
    EndSignal& end_;
    const std::chrono::microseconds patience_;
    std::string task_;
    std::thread loop_;
    std::vector<std::thread> sayers_;
    orvi_bus::Fd wake_ = orvi_bus::Fd::Event();
    Clock::time_point start_;

    std::mutex mutex_;  // guards what follows, and script_
    std::condition_variable changed_;
    Clock::time_point last_;  // when the last step happened
    size_t threads_ = 0;      // that have something to say
    bool isServiceGone_ = false;
    bool isNobodyThere_ = false;
    bool isEnding_ = false;
};

ApplicationSide* ApplicationSide::g_side = nullptr;

bool ApplicationSide::Join() {
    g_side = this;
    const Session& session = script_.Recorded();
    if (!wake_ || OsMsgInit(session.application.c_str()) != 0) {
        return false;
    }
    if (session.task.empty()) {
        return true;
    }
    if (OsMsgRegTask(session.task.c_str(), REPLAY_QUEUE_SIZE, OnMessage) != 0) {
        return false;
    }
    task_ = session.task;
    loop_ = std::thread([this] { (void)OsMsgTaskRoutineByName(task_.c_str()); });
    return true;
}

void ApplicationSide::Leave() {
    if (loop_.joinable()) {
        OrviHostMsgStopRoutine(task_.c_str());
        loop_.join();
        OsMsgUnregTask(script_.Recorded().application.c_str(), 1, task_.c_str());
    }
}

int ApplicationSide::OnMessage(TagMsgBlock* message) {
    g_side->Take(*message);
    return 0;
}

void ApplicationSide::Take(const TagMsgBlock& message) {
    OrviHostMsgSender sender{};
    (void)OrviHostMsgGetSender(&message, &sender);
    const auto* const bytes = static_cast<const uint8_t*>(message.data);
    const Contents seen =
        bytes != nullptr ? Contents(std::vector<uint8_t>(bytes, bytes + message.dataLen)) : std::nullopt;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (std::strcmp(sender.procName, orvi_protocol::SERVICE_PROCESS) != 0) {
        script_.Told().Add("a message of another process", "it is not the service's");
        return;
    }
    (void)script_.Take(false, OrviHostMsgWantsReply(&message) != 0, message.msgId, seen);
    Happened();
}

void ApplicationSide::Happened() {
    last_ = Clock::now();
    changed_.notify_all();
    const uint64_t one = 1;
    (void)!write(wake_.Get(), &one, sizeof(one));
}

// Whether all that was over before this step began has happened.
bool ApplicationSide::IsNext(size_t step) const {
    for (size_t i = script_.FirstOpen(); i < step; ++i) {
        if (script_.IsOpen(i) && script_.At(i).endNs <= script_.At(step).startNs) {
            return false;
        }
    }
    return true;
}

// What the service has not told by then is missing. False when the end is wanted.
bool ApplicationSide::AwaitTurn(std::unique_lock<std::mutex>& lock, size_t step) {
    const auto due =
        start_ + std::chrono::nanoseconds(Played(script_.At(step).startNs - script_.At(0).startNs, options_.speed));
    while (!isEnding_ && Clock::now() < due) {
        changed_.wait_until(lock, due);
    }
    while (!isEnding_ && !IsNext(step)) {
        const auto lastMoment = isServiceGone_ ? Clock::time_point::min() : std::max(last_, due) + patience_;
        if (Clock::now() < lastMoment) {
            changed_.wait_until(lock, lastMoment);
            continue;
        }
        for (size_t i = script_.FirstOpen(); i < step; ++i) {
            if (script_.IsOpen(i) && !script_.At(i).isToService) {
                script_.Miss(i, "did not come before " + script_.Which(step));
            }
        }
        Happened();
    }
    return !isEnding_;
}

void ApplicationSide::Say(size_t step) {
    const Step& recorded = script_.At(step);
    std::vector<uint8_t> bytes;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        bytes = script_.ContentsOf(step).value_or(std::vector<uint8_t>());
    }
    TagMsgBlock block{};
    std::strncpy(block.recvProcName, orvi_protocol::SERVICE_PROCESS, sizeof(block.recvProcName) - 1);
    std::strncpy(block.recvTaskName, recorded.task.c_str(), sizeof(block.recvTaskName) - 1);
    block.msgId = recorded.id;
    block.data = bytes.empty() ? nullptr : bytes.data();
    block.dataLen = static_cast<uint32_t>(bytes.size());
    TagMsgBlock* reply = nullptr;
    const int result = recorded.isRequest
                           ? OsMsgSynSend(&block, &reply, recorded.message != nullptr ? recorded.message->waitMs : 0)
                           : OsMsgAsynSend(&block);
    Contents seen;
    if (reply != nullptr && reply->data != nullptr) {
        const auto* const data = static_cast<const uint8_t*>(reply->data);
        seen = std::vector<uint8_t>(data, data + reply->dataLen);
    }
    if (reply != nullptr) {
        OsMsgSynRespFree(reply);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (result == ORVI_BUS_E_ABSENT && script_.FirstOpen() == 0 && recorded.result != result) {
        isNobodyThere_ = true;
        isEnding_ = true;
    }
    isServiceGone_ = isServiceGone_ || (result != recorded.result && result == ORVI_BUS_E_ABSENT);
    if (result != recorded.result) {
        script_.Told().Add(script_.Which(step),
                           "recorded " + ResultWord(recorded.result) + ", seen " + ResultWord(result));
    } else if (recorded.isRequest && result == 0) {
        script_.CompareReply(step, seen);
    }
    script_.Done(step);
    Happened();
}

void ApplicationSide::RunThread(const std::vector<size_t>& steps) {
    for (const size_t step : steps) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (!AwaitTurn(lock, step)) {
                break;
            }
        }
        Say(step);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    --threads_;
    Happened();
}

// False when the session is over or the end is wanted.
bool ApplicationSide::Wait() {
    std::string lines;
    bool isOver = false;
    int ms = -1;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines = script_.Told().Take();
        if (threads_ == 0) {  // the last events may still come
            const size_t step = script_.FirstOpen();
            const int64_t gap = step > 0 && step < script_.Size()
                                    ? Played(script_.At(step).startNs - script_.At(step - 1).startNs, options_.speed)
                                    : 0;
            const auto left = last_ + std::chrono::nanoseconds(gap) + patience_ - Clock::now();
            isOver = isEnding_ || isServiceGone_ || script_.IsOver() || left.count() <= 0;
            ms = static_cast<int>(
                std::min<int64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(left).count() + 1, 60000));
        }
    }
    if (!end_.Print(lines) || isOver) {
        return false;
    }
    pollfd entries[] = {{end_.Descriptor(), POLLIN, 0}, {wake_.Get(), POLLIN, 0}};
    (void)poll(entries, 2, ms);
    uint64_t count = 0;
    (void)!read(wake_.Get(), &count, sizeof(count));
    return (entries[0].revents & POLLIN) == 0;
}

int ApplicationSide::Play() {
    if (!Join()) {
        return Fail("cannot play " + script_.Recorded().application);
    }
    std::map<uint64_t, std::vector<size_t>> streams;
    for (size_t i = 0; i < script_.Size(); ++i) {
        if (script_.At(i).isToService) {
            streams[script_.At(i).stream].push_back(i);
        }
    }
    start_ = last_ = Clock::now();
    for (const auto& [stream, steps] : streams) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            ++threads_;
        }
        try {
            sayers_.emplace_back([this, own = steps] { RunThread(own); });
        } catch (const std::system_error& error) {
            // Those that have begun wait for answers, or for what they are told.
            std::fprintf(stderr, "orvi-bus: no thread for each of %zu: %s\n", streams.size(), error.what());
            std::_Exit(FAILED);
        }
    }
    while (Wait()) {
    }
    std::string lines;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (threads_ > 0) {  // nobody waits for who waits for an answer
            std::fprintf(stderr, "orvi-bus: ended before it was over\n");
            std::_Exit(FAILED);
        }
        if (!isNobodyThere_) {
            script_.MissAll("did not happen");
            lines = script_.Told().Take();
        }
    }
    for (std::thread& sayer : sayers_) {
        sayer.join();
    }
    (void)end_.Print(lines);
    if (isNobodyThere_) {
        std::fprintf(stderr, "orvi-bus: there is no service\n");
        return NOBODY;
    }
    return DONE;
}

}  // namespace

int PlayApplication(Script& script, const ReplayOptions& options, EndSignal& end) {
    return ApplicationSide(script, options, end).Play();
}

}  // namespace orvi_bus_tool
