// The page that shows the room: served to browsers of this machine that know its address.
#ifndef ORVI_SIM_VIEW_VIEW_H
#define ORVI_SIM_VIEW_VIEW_H

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "directions/directions.h"
#include "features/checkin/checkin.h"
#include "view/history.h"

namespace orvi_sim {

// One thread serves all pages and never waits for one of them: a page that is behind is told less, and how much that was.
// Directions that wait are performed on threads of their own.
class View {
 public:
    // All outlive the object.
    View(Stage& stage, const Directions& directions, const std::vector<Feature*>& features, const Checkin& checkin);
    ~View();
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    // Listens at a port of the loopback interface, 0 for any that is free. False, with the reason in `error`.
    bool Start(uint16_t port, std::string& error);

    // Nobody who does not know it is shown anything: http://127.0.0.1:PORT/KEY/. Empty before Start.
    const std::string& Address() const { return address_; }

    // Closes all pages. What a direction waits for has to be ended first.
    void Stop();

    static constexpr size_t MOST_CONNECTIONS = 96;  // fewer where the process may have few descriptors
    static constexpr size_t MOST_DIRECTIONS = 8;    // that wait at a time

 private:
    struct Page;
    struct Work;

    void Run();
    void Accept();
    bool MakeRoom();
    size_t MostFed() const { return mostConnections_ * 2 / 3; }
    void Receive(Page& page);
    void Respond(Page& page);
    std::string Route(Page& page, const std::string& name);
    void Perform(Page& page, const std::string& line);
    void CollectWork();
    void Feed(Page& page, int64_t nowMs);
    bool Send(Page& page);
    std::string State() const;
    std::string Vocabulary() const;

    Stage& stage_;
    const Directions& directions_;
    const std::vector<Feature*>& features_;
    const Checkin& checkin_;
    History history_;

    std::string key_;
    std::string authority_;  // 127.0.0.1:PORT
    std::string byName_;     // localhost:PORT
    std::string address_;
    int listener_ = -1;
    int wake_ = -1;  // eventfd: a direction is done, or the end has come
    bool isStopped_ = false;
    size_t mostConnections_ = MOST_CONNECTIONS;
    std::thread thread_;

    std::list<Page> pages_;  // of thread_ alone
    std::mutex mutex_;       // guards what follows
    bool isEnding_ = false;
    std::list<std::shared_ptr<Work>> work_;
};

}  // namespace orvi_sim

#endif
