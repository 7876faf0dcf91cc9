// A member of the bus that does what its standard input says: the other process of the bus tests.
//
// Every command is answered by one line "= ...". What the process receives is told by lines of their own:
// "message TASK ID LEN UID", "start NAME UID", "exit NAME UID", and "loop TASK RESULT" when a receive loop has ended.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <future>
#include <map>
#include <mutex>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "orvi_host_bus.h"
#include "orvi_os_msg.h"
#include "tests/host/bus_peer_ids.h"
#include "tests/host/bus_peer_process.h"

namespace {

using Clock = std::chrono::steady_clock;

// What handlers and commands share. Never destroyed: handlers run while the process exits.
struct Shared {
    std::mutex mutex;
    std::condition_variable changed;
    int release = 0;                            // how many blocked handlers may go on
    std::vector<TagMsgBlock> unanswered;        // requests to be answered later
    std::map<std::string, std::string> nested;  // task of this process: "PROC TASK" that its handler calls
};
Shared& g_shared = *new Shared;

// One write a line, so that lines of several threads do not mix.
void Say(const std::string& line) {
    const std::string text = line + "\n";
    while (write(STDOUT_FILENO, text.data(), text.size()) < 0 && errno == EINTR) {
    }
}

// A payload that tells what it is: every byte depends on its place and on the message's length.
char PayloadByte(uint32_t place, uint32_t length) {
    return static_cast<char>((place * 31 + length) & 0xFF);
}

std::string Payload(uint32_t length) {
    std::string payload(length, '\0');
    for (uint32_t i = 0; i < length; ++i) {
        payload[i] = PayloadByte(i, length);
    }
    return payload;
}

// The bytes repeat after 256, which makes a large payload quick to check.
bool IsPayload(const TagMsgBlock& block) {
    const auto* data = static_cast<const char*>(block.data);
    const uint32_t first = std::min<uint32_t>(block.dataLen, 256);
    for (uint32_t i = 0; i < first; ++i) {
        if (data == nullptr || data[i] != PayloadByte(i, block.dataLen)) {
            return false;
        }
    }
    return block.dataLen <= 256 || memcmp(data + 256, data, block.dataLen - 256) == 0;
}

TagMsgBlock Block(const std::string& proc, const std::string& task, uint32_t id, const std::string& payload) {
    TagMsgBlock block;
    memset(&block, 0, sizeof(block));
    strncpy(block.recvProcName, proc.c_str(), sizeof(block.recvProcName) - 1);
    strncpy(block.recvTaskName, task.c_str(), sizeof(block.recvTaskName) - 1);
    block.msgId = id;
    block.dataLen = static_cast<uint32_t>(payload.size());
    block.data = payload.empty() ? nullptr : const_cast<char*>(payload.data());
    return block;
}

std::string Call(const std::string& proc, const std::string& task, uint32_t id, uint32_t length, uint32_t wait) {
    const std::string payload = Payload(length);
    TagMsgBlock block = Block(proc, task, id, payload);
    TagMsgBlock* reply = nullptr;
    const int result = OsMsgSynSend(&block, &reply, wait);
    if (result != 0) {
        return "error " + std::to_string(result) + (reply != nullptr ? " with a reply" : "");
    }
    std::string told = reply->data == nullptr ? "none" : std::to_string(reply->dataLen);
    told += IsPayload(*reply) && reply->msgId == id ? "" : " damaged";
    told += " uid " + std::to_string(reply->senderUid);
    OsMsgSynRespFree(reply);
    return "reply " + told;
}

void Spin(std::chrono::nanoseconds time) {
    for (const auto end = Clock::now() + time; Clock::now() < end;) {
    }
}

void Block() {
    std::unique_lock<std::mutex> lock(g_shared.mutex);
    g_shared.changed.wait(lock, [] { return g_shared.release > 0; });
    --g_shared.release;
}

int Handle(TagMsgBlock* message) {
    const std::string uid = " " + std::to_string(message->senderUid);
    if (message->msgId == OS_MSG_PROC_STARTRESULT || message->msgId == OS_MSG_PROC_EXITRESULT) {
        Say((message->msgId == OS_MSG_PROC_STARTRESULT ? "start " : "exit ") + std::string(message->procName) + uid);
        return 0;
    }
    if (message->msgId == kAnswerLater) {
        const std::lock_guard<std::mutex> lock(g_shared.mutex);
        g_shared.unanswered.push_back(*message);
    }
    const bool whole = IsPayload(*message) && (message->dataLen == 0) == (message->data == nullptr);
    if (message->msgId != kEchoQuietly) {
        Say("message " + std::string(message->recvTaskName) + " " + std::to_string(message->msgId) + " " +
            std::to_string(message->dataLen) + uid + (whole ? "" : " damaged"));
    }
    switch ((message->msgId & kEchoBit) != 0 ? uint32_t{kEcho} : message->msgId) {
        case kEcho:
        case kEchoQuietly:
            (void)OrviHostMsgReply(message, message->data != nullptr ? message->data : "", message->dataLen);
            break;
        case kAnswerNoData:
            (void)OrviHostMsgReply(message, nullptr, 0);
            break;
        case kAnswerTwice:
            (void)OrviHostMsgReply(message, "", 0);
            Say("second " + std::to_string(OrviHostMsgReply(message, "", 0)));
            break;
        case kAnswerLarge: {
            const std::string payload = Payload(16U << 20);
            (void)OrviHostMsgReply(message, payload.data(), static_cast<uint32_t>(payload.size()));
            break;
        }
        case kBlock:
            Block();
            Say("unblocked");
            break;
        case kBlockThenEcho:
            Block();
            (void)OrviHostMsgReply(message, message->data != nullptr ? message->data : "", message->dataLen);
            break;
        case kCallInside: {
            std::istringstream to(g_shared.nested[message->recvTaskName]);
            std::string proc, task;
            to >> proc >> task;
            Say("inside " + Call(proc, task, kEcho, 7, 5000));
            (void)OrviHostMsgReply(message, nullptr, 0);
            break;
        }
        case kTellSender: {
            OrviHostMsgSender sender{};
            const int result = OrviHostMsgGetSender(message, &sender);
            Say("sender " + std::to_string(result) + " '" + sender.procName + "' " + std::to_string(sender.pid) + " " +
                std::to_string(sender.uid) + (sender.incarnation != 0 ? " numbered" : ""));
            break;
        }
        case kSlow:
            Spin(std::chrono::milliseconds(std::max(30U, message->dataLen)));
            break;
        case kThrow:
            throw std::runtime_error("thrown on purpose");
        case kEndThread:
            pthread_exit(nullptr);
        case kStopInside:
            (void)OrviHostMsgStopRoutine(message->recvTaskName);
            break;
        case kUnregisterInside: {
            char own[OS_MSG_NAME_SIZE];
            (void)OsMsgGetProcName(own, sizeof(own));
            (void)OsMsgUnregTask(own, 1, message->recvTaskName);
            break;
        }
        case kExitInside:
            exit(0);
        case kForkInside:
            if (fork() == 0) {
                const int sent = OsMsgAsynSend(message);
                TagMsgBlock* reply = nullptr;
                const int called = OsMsgSynSend(message, &reply, 0);
                Say("child " + std::to_string(sent) + " " + std::to_string(called) + " " +
                    std::to_string(OsMsgInit("child")));
                return 0;  // the loop is to end in the child
            }
            break;
        default:
            break;
    }
    return 0;
}

void RunLoop(const std::string& task) {
    const pid_t before = getpid();
    const int result = OsMsgTaskRoutineByName(task.c_str());
    Say("loop " + task + " " + std::to_string(result));
    if (getpid() != before) {
        _exit(0);  // the child that a handler forked
    }
}

int Subscribe(const std::string& task, const std::string& proc) {
    OsMsgSubscribeEntry entries[2];
    memset(entries, 0, sizeof(entries));
    for (OsMsgSubscribeEntry& entry : entries) {
        memcpy(entry.procName, proc.c_str(), std::min<size_t>(proc.size(), OS_MSG_NAME_SIZE));
        memcpy(entry.procNameAgain, proc.c_str(), std::min<size_t>(proc.size(), OS_MSG_NAME_SIZE));
        strncpy(entry.taskName, task.c_str(), OS_MSG_NAME_SIZE - 1);
    }
    entries[0].eventId = OS_MSG_PROC_STARTRESULT;
    entries[1].eventId = OS_MSG_PROC_EXITRESULT;
    return OsMsgSubscribeEvent(entries, 2);
}

// Threads that send requests at the same time, each checking that its replies are its own.
std::string Storm(const std::string& proc, const std::string& task, uint32_t threads, uint32_t count) {
    std::atomic<uint32_t> good{0};
    std::vector<std::thread> workers;
    for (uint32_t t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            for (uint32_t i = 0; i < count; ++i) {
                const uint32_t length = 1 + t * 131 + i;
                if (Call(proc, task, kEchoQuietly, length, 0).rfind("reply " + std::to_string(length) + " uid", 0) ==
                    0) {
                    good.fetch_add(1);
                }
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    return std::to_string(good.load()) + " good";
}

// Sends numbered messages: their lengths count up. Stops at the first failure.
std::string SendMany(const std::string& proc, const std::string& task, uint32_t id, uint32_t count,
                     int (*send)(TagMsgBlock*)) {
    for (uint32_t i = 0; i < count; ++i) {
        const std::string payload = Payload(i + 1);
        TagMsgBlock block = Block(proc, task, id, payload);
        const int result = send(&block);
        if (result != 0) {
            return "error " + std::to_string(result) + " after " + std::to_string(i);
        }
    }
    return "sent " + std::to_string(count);
}

// The same in groups, their last message to `last`.
std::string SendSeveral(const std::string& proc, const std::string& task, uint32_t id, uint32_t count,
                        const std::string& last) {
    constexpr uint32_t kGroup = 50;
    for (uint32_t sent = 0; sent < count;) {
        std::vector<std::string> payloads(std::min(kGroup, count - sent));
        std::vector<TagMsgBlock> blocks;
        for (uint32_t i = 0; i < payloads.size(); ++i) {
            payloads[i] = Payload(sent + i + 1);
            blocks.push_back(Block(proc, i + 1 == payloads.size() ? last : task, id, payloads[i]));
        }
        uint32_t taken = 0;
        const int result = OrviHostMsgTrySendSeveral(blocks.data(), static_cast<uint32_t>(blocks.size()), &taken);
        sent += taken;
        if (result != 0) {
            return "error " + std::to_string(result) + " after " + std::to_string(sent);
        }
    }
    return "sent " + std::to_string(count);
}

// Takes a task off the bus on one thread while another starts its loop and a third subscribes it to events. The task has
// connections that an earlier run has accepted. Tells how often all ended in good order.
std::string RaceOff(const std::string& proc, uint32_t count, uint32_t connections) {
    uint32_t good = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const bool registered = OsMsgRegTask("race", 64, &Handle) == 0;
        auto before = std::async(std::launch::async, &OsMsgTaskRoutineByName, "race");
        std::vector<std::thread> senders;
        std::atomic<uint32_t> answered{0};
        std::promise<void> over;
        const std::shared_future<void> end = over.get_future().share();
        for (uint32_t c = 0; c < connections; ++c) {
            senders.emplace_back([&, end] {
                answered += Call(proc, "race", kEchoQuietly, 1, 0).rfind("reply 1 ", 0) == 0 ? 1 : 0;
                end.wait();  // the thread's end would close its connection
            });
        }
        while (answered.load() != connections) {
            sched_yield();
        }
        (void)OrviHostMsgStopRoutine("race");
        const bool ran = before.get() == 0;
        std::atomic<int> ready{0};
        auto subscriber = std::async(std::launch::async, [&] {
            ++ready;
            for (int name = 0; Subscribe("race", "nobody" + std::to_string(name % 100)) == 0; ++name) {
            }
        });
        auto again = std::async(std::launch::async, [&] {
            ++ready;
            return OsMsgTaskRoutineByName("race");
        });
        while (ready.load() != 2) {
        }
        const bool off = OsMsgUnregTask(proc.c_str(), 1, "race") == 0;
        subscriber.get();
        const int result = again.get();  // 3 when the task had gone
        over.set_value();
        for (std::thread& sender : senders) {
            sender.join();
        }
        good += registered && ran && off && (result == 0 || result == 3) ? 1 : 0;
    }
    return std::to_string(good) + " good";
}

// Lets so many handlers that block go on.
std::string Release(int count) {
    const std::lock_guard<std::mutex> lock(g_shared.mutex);
    g_shared.release += count;
    g_shared.changed.notify_all();
    return "0";
}

// Answers what kAnswerLater has kept, the oldest first.
std::string AnswerAll() {
    std::vector<TagMsgBlock> kept;
    {
        const std::lock_guard<std::mutex> lock(g_shared.mutex);
        kept.swap(g_shared.unanswered);
    }
    std::string told;
    for (const TagMsgBlock& request : kept) {
        told += (told.empty() ? "" : " ") + std::to_string(OrviHostMsgReply(&request, "", 0));
    }
    return told;
}

std::string ProcName() {
    char name[OS_MSG_NAME_SIZE];
    return OsMsgGetProcName(name, sizeof(name)) == 0 ? name : "none";
}

std::string SendOne(const Words& w, int (*send)(TagMsgBlock*)) {
    const std::string payload = Payload(Number(w[4]));
    TagMsgBlock block = Block(w[1], w[2], Number(w[3]), payload);
    return std::to_string(send(&block));
}

std::string CallOf(const Words& w) {
    return Call(w[1], w[2], Number(w[3]), Number(w[4]), Number(w[5]));
}

int TrySend(TagMsgBlock* block) {
    return OrviHostMsgTrySend(block);
}

std::string Code(int result) {
    return std::to_string(result);
}

// Never destroyed: lines may come while the process exits.
const Commands& kCommands = *new Commands{
    {"join", [](const Words& w) { return Code(OsMsgInit(w[1].c_str())); }},
    {"name", [](const Words&) { return ProcName(); }},
    {"task", [](const Words& w) { return Code(OsMsgRegTask(w[1].c_str(), 64, &Handle)); }},
    {"unreg", [](const Words& w) { return Code(OsMsgUnregTask(w[1].c_str(), 1, w[2].c_str())); }},
    {"watch", [](const Words& w) { return Code(Subscribe(w[1], w[2])); }},
    {"run",
     [](const Words& w) {
         std::thread(&RunLoop, w[1]).detach();
         return std::string("0");
     }},
    {"stop", [](const Words& w) { return Code(OrviHostMsgStopRoutine(w[1].c_str())); }},
    // PROC TASK ID LENGTH
    {"send", [](const Words& w) { return SendOne(w, &OsMsgAsynSend); }},
    {"try", [](const Words& w) { return SendOne(w, &TrySend); }},
    // PROC TASK ID COUNT
    {"sendmany", [](const Words& w) { return SendMany(w[1], w[2], Number(w[3]), Number(w[4]), &OsMsgAsynSend); }},
    {"trymany", [](const Words& w) { return SendMany(w[1], w[2], Number(w[3]), Number(w[4]), &TrySend); }},
    // PROC TASK ID COUNT LAST, the task of the last one of a group
    {"several", [](const Words& w) { return SendSeveral(w[1], w[2], Number(w[3]), Number(w[4]), w[5]); }},
    // "input", standard input wakes it, or "none"; and how long
    {"awaitroom",
     [](const Words& w) { return Code(OrviHostMsgAwaitRoom(w[1] == "input" ? STDIN_FILENO : -1, Number(w[2]))); }},
    // PROC TASK ID LENGTH WAIT
    {"call", &CallOf},
    {"callthread",  // from a thread that ends with the call
     [](const Words& w) {
         std::string told;
         std::thread([&] { told = CallOf(w); }).join();
         return told;
     }},
    {"nested",
     [](const Words& w) {
         g_shared.nested[w[1]] = w[2] + ' ' + w[3];
         return std::string("0");
     }},
    // PROC TASK THREADS COUNT
    {"storm", [](const Words& w) { return Storm(w[1], w[2], Number(w[3]), Number(w[4])); }},
    // PROC COUNT CONNECTIONS
    {"raceoff", [](const Words& w) { return RaceOff(w[1], Number(w[2]), Number(w[3])); }},
    {"release", [](const Words& w) { return Release(static_cast<int>(Number(w[1]))); }},
    {"answer", [](const Words&) { return AnswerAll(); }},
    {"level", [](const Words& w) { return Code(OsMsgSetLogLevel(Number(w[1]))); }},
};

std::string Do(const std::string& line) {
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    words.resize(std::max<size_t>(words.size(), 6));
    for (const Commands* commands : {&kCommands, &kProcessCommands}) {
        const auto found = commands->find(words[0]);
        if (found != commands->end()) {
            return found->second(words);
        }
    }
    return "unknown command";
}

}  // namespace

int main() {
    signal(SIGPIPE, SIG_DFL);  // a broken connection of the bus must not end the process
    for (std::string line; ReadLine(STDIN_FILENO, &line) && line != "return";) {
        Say("= " + Do(line));
    }
    return 0;
}
