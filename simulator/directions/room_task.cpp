#include "directions/room_task.h"

#include <exception>

#include "log.h"
#include "service/bus_block.h"
#include "service/service.h"

namespace orvi_sim {
namespace {

RoomTask* g_room = nullptr;  // set before the task is registered, for the life of the process

void SendAnswer(const TagMsgBlock& message, const std::string& text) {
    if (const int result = OrviHostMsgReply(&message, text.data(), static_cast<uint32_t>(text.size())); result != 0) {
        LogVerbose("an answer to a direction is not sent: the bus says %d", result);
    }
}

}  // namespace

bool RoomTask::Start() {
    g_room = this;
    if (OsMsgRegTask(ROOM_TASK, MOST_AT_ONCE, OnMessage) != 0) {
        return false;
    }
    loop_ = std::thread([] { (void)OsMsgTaskRoutineByName(ROOM_TASK); });
    return true;
}

void RoomTask::Stop() {
    if (!loop_.joinable()) {
        return;
    }
    OrviHostMsgStopRoutine(ROOM_TASK);
    loop_.join();
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return underWay_ == 0; });
    }
    OsMsgUnregTask(orvi_protocol::SERVICE_PROCESS, 1, ROOM_TASK);
}

int RoomTask::OnMessage(TagMsgBlock* message) {
    try {
        g_room->Take(*message);
        return 0;
    } catch (const std::exception& exception) {
        Log("a direction is not taken: %s", exception.what());
        (void)OrviHostMsgReply(message, nullptr, 0);  // who waits for an answer is told; not sent to anybody else
        return -1;
    }
}

void RoomTask::Take(const TagMsgBlock& message) {
    if (message.msgId != ROOM_LINE || OrviHostMsgWantsReply(&message) == 0 || message.data == nullptr) {
        Log("refused %#x on %s: it takes requests of %#x with a line of text", message.msgId, ROOM_TASK, ROOM_LINE);
        if (OrviHostMsgWantsReply(&message) != 0) {
            SendAnswer(message, "error it takes a line of text");
        }
        return;
    }
    const std::string line(static_cast<const char*>(message.data), message.dataLen);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (underWay_ >= MOST_AT_ONCE) {
            SendAnswer(message, "error there are " + std::to_string(MOST_AT_ONCE) + " directions under way already");
            return;
        }
        ++underWay_;
    }
    try {
        std::thread([this, message, line] { Perform(message, line); }).detach();
    } catch (const std::exception&) {
        const std::lock_guard<std::mutex> lock(mutex_);
        --underWay_;
        changed_.notify_all();
        SendAnswer(message, "error there is no thread for it");
    }
}

void RoomTask::Perform(const TagMsgBlock& message, const std::string& line) {
    const Directions::Answer answer = directions_.Perform(line);
    SendAnswer(message, answer.text);
    if (answer.then != nullptr) {
        answer.then();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    --underWay_;
    changed_.notify_all();
}

}  // namespace orvi_sim
