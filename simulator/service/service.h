// The simulated service's place on the bus: its tasks, their receive loops, and the way of a message through it.
#ifndef ORVI_SIM_SERVICE_H
#define ORVI_SIM_SERVICE_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bus_block.h"
#include "clients.h"
#include "faults.h"
#include "request.h"
#include "stop_signal.h"
#include "timer.h"
#include "traffic.h"

namespace orvi_sim {

constexpr char SERVICE_NAME[] = "AI_VISION";

constexpr char TASK_MASTER[] = "ai_v_task_m";
constexpr char TASK_INTERFACE[] = "ai_v_task_i";
constexpr char TASK_OM[] = "ai_om_task";
constexpr char TASK_FACE[] = "ai_face_task";
constexpr char TASK_DIRECTOR[] = "VDirector";
constexpr char TASK_ASSISTANT[] = "ai_assist_task";
constexpr char TASK_STATE_MACHINE[] = "ai_state_mach";
constexpr char TASK_HOTWORD[] = "ai_hotword_task";

// One per process: the bus knows handlers without a context.
class Service {
 public:
    // `stop` is raised with 1 when a receive loop cannot go on.
    Service(StopSignal& stop, size_t queueCapacity);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    // Joins the bus, makes every task reachable, then runs the receive loops; the service has been announced when it
    // returns. False, with the reason, when the bus refuses.
    bool Start(std::string& error);

    // Ends the receive loops, takes the tasks off the bus and joins all threads.
    void Stop();

    // For the handlers. None of these waits.
    bool AddClient(const ClientAddress& address, std::string& error);  // false, with the reason, when refused
    // Makes sure of the client whose address begins the payload: its announcement takes another way and may come
    // later than a request that makes the service tell it something. False, the answer refused, when that fails.
    bool AddClientOf(const Request& request, Answer& answer);
    Clients& GetClients() { return clients_; }
    void After(std::chrono::milliseconds delay, std::function<void()> work) { timer_.After(delay, std::move(work)); }

    // For the control channel.
    Faults& GetFaults() { return faults_; }
    Traffic& GetTraffic() { return traffic_; }
    size_t Release(uint32_t id);  // sends the replies that were held back and returns their number

    // Runs when a client announces itself for the first time. Set before Start.
    std::function<void(const ClientAddress&)> onClientAdded;

 private:
    // A reply not sent yet; the block without its payload.
    struct Held {
        TagMsgBlock message;
        Fault fault;
        Answer answer;
    };

    static bool AwaitAnnouncement();
    static int OnMessage(TagMsgBlock* message);
    void Handle(const TagMsgBlock& message);
    void Dispatch(const Request& request, const std::string& task, Answer& answer);
    void Finish(const TagMsgBlock& message, const Request& request, const Answer& answer);
    void SendReply(const TagMsgBlock& message, const Fault& fault, const Answer& answer);
    void Hold(const TagMsgBlock& message, const Fault& fault, const Answer& answer);
    void PushEvents(const Answer& answer);
    void RunLoop(const char* task);

    StopSignal& stop_;
    Faults faults_;
    Traffic traffic_;
    Clients clients_;
    Timer timer_;
    std::mutex heldMutex_;
    std::vector<Held> held_;  // guarded by heldMutex_
    std::vector<std::thread> loops_;
    std::vector<const char*> registered_;  // tasks to take off the bus
};

}  // namespace orvi_sim

#endif
