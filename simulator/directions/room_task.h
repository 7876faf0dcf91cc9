// The control task on the bus: directions from any number of processes, as orvi-room sends them.
#ifndef ORVI_SIM_DIRECTIONS_ROOM_TASK_H
#define ORVI_SIM_DIRECTIONS_ROOM_TASK_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "directions/directions.h"
#include "orvi_os_msg.h"

namespace orvi_sim {

constexpr char ROOM_TASK[] = "ai_room";
constexpr uint32_t ROOM_LINE = 0x6FFFF0;  // a request: a line of text; its reply: the answer, as Directions tells it

// One per process: the bus knows handlers without a context.
class RoomTask {
 public:
    explicit RoomTask(const Directions& directions) : directions_(directions) {}  // outlives the object
    ~RoomTask() { Stop(); }
    RoomTask(const RoomTask&) = delete;
    RoomTask& operator=(const RoomTask&) = delete;

    // Once the process has joined the bus. False when the bus refuses.
    bool Start();

    // Returns when each line that has come is answered: what they wait for must have been ended before.
    void Stop();

 private:
    static constexpr size_t MOST_AT_ONCE = 64;

    static int OnMessage(TagMsgBlock* message);
    void Take(const TagMsgBlock& message);
    void Perform(const TagMsgBlock& message, const std::string& line);

    const Directions& directions_;
    std::thread loop_;
    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    size_t underWay_ = 0;  // each on a thread of its own, as some wait
};

}  // namespace orvi_sim

#endif
