#include "service/mail.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "log.h"
#include "service/bus_block.h"
#include "service/events.h"

namespace orvi_sim {
namespace {

constexpr uint32_t LONGEST_WAIT_MS = 60000;

int OpenWake() {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    return descriptor;
}

}  // namespace

Mail::Mail(OnAbsent onAbsent) : onAbsent_(std::move(onAbsent)), wake_(OpenWake()) {}

Mail::~Mail() {
    Stop();
    close(wake_);
}

void Mail::SetCapacity(size_t messages) {
    const std::lock_guard<std::mutex> lock(mutex_);
    capacity_ = messages;
}

void Mail::Open(const ApplicationId& application) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_ || boxes_.count(application) != 0) {
        return;
    }
    const auto box = std::make_shared<Box>();
    box->application = application;
    boxes_.emplace(application, box);
    if (!thread_.joinable()) {
        thread_ = std::thread(&Mail::Run, this);
    }
}

void Mail::Deliver(const ApplicationId& application, const std::string& task) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = boxes_.find(application);
    if (found == boxes_.end()) {
        return;
    }
    Box& box = *found->second;
    std::list<BoxPtr> place{found->second};
    std::deque<Letter> queue = box.queue;
    queue.insert(queue.end(), box.waiting.begin(), box.waiting.end());
    box.task = task;  // the last step that takes memory
    box.queue.swap(queue);
    box.waiting.clear();
    box.delivering = true;
    Schedule(found->second, std::move(place));
}

void Mail::Withhold(const ApplicationId& application) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (const auto found = boxes_.find(application); found != boxes_.end()) {
        found->second->delivering = false;
    }
}

void Mail::Close(const ApplicationId& application) {
    size_t dropped = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = boxes_.find(application);
        if (found == boxes_.end()) {
            return;
        }
        dropped = Drop(*found->second);
        boxes_.erase(found);
        changed_.notify_all();
    }
    if (dropped != 0) {
        Log("%zu queued messages for %s dropped", dropped, application.process.c_str());
    }
}

size_t Mail::Drop(Box& box) {
    const size_t dropped = box.queue.size() + box.waiting.size();
    box.closed = true;
    box.queue.clear();
    box.waiting.clear();
    return dropped;
}

bool Mail::Post(const ApplicationId& application, uint32_t id, std::shared_ptr<const Payload> payload) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto found = boxes_.find(application);
    if (found == boxes_.end()) {
        return false;
    }
    Box& box = *found->second;
    if (box.queue.size() + box.waiting.size() >= capacity_) {
        const uint64_t lost = ++box.counts.overflowed;
        const bool isWorthALine = box.delivering || lost == 1;  // somebody who has not come yet may never come
        lock.unlock();
        if (!isWorthALine) {
            return false;
        }
        Log("queue of %s is full: %#x \"%s\" is lost, %llu so far", application.process.c_str(), id, EventName(id),
            static_cast<unsigned long long>(lost));
        return false;
    }
    std::list<BoxPtr> place{found->second};
    (box.delivering ? box.queue : box.waiting).push_back({id, std::move(payload)});
    Schedule(found->second, std::move(place));
    return true;
}

// `place` holds the box: taken before anything has changed, so that this cannot fail.
void Mail::Schedule(const BoxPtr& box, std::list<BoxPtr> place) {
    if (!box->scheduled && !box->queue.empty()) {
        box->scheduled = true;
        ready_.splice(ready_.end(), place);
        Wake();
    }
}

void Mail::Wake() const {
    (void)eventfd_write(wake_, 1);  // fails only where the thread is woken up already
}

MailCounts Mail::Counts(const ApplicationId& application) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = boxes_.find(application);
    if (found == boxes_.end()) {
        return {};
    }
    MailCounts counts = found->second->counts;
    counts.queued = found->second->queue.size() + found->second->waiting.size();
    return counts;
}

bool Mail::AwaitSent(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto isSent = [this] { return ready_.empty() && blocked_.empty() && !sending_; };
    changed_.wait_until(lock, deadline, [&] { return stopped_ || isSent(); });
    return !stopped_ && isSent();
}

void Mail::Settle(std::chrono::milliseconds patience) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto isNoMatter = [](const BoxPtr& box) { return box->hasTriedPatience; };
    const auto isSettled = [&] {
        return stopped_ || (!sending_ && std::all_of(ready_.begin(), ready_.end(), isNoMatter) &&
                            std::all_of(blocked_.begin(), blocked_.end(), isNoMatter));
    };
    if (changed_.wait_for(lock, patience, isSettled)) {
        return;
    }
    for (const BoxPtr& box : blocked_) {
        if (!box->hasTriedPatience) {
            Log("%s takes nothing: the room does not wait for it", box->application.process.c_str());
        }
        box->hasTriedPatience = true;
    }
}

void Mail::Stop() {
    std::vector<std::pair<std::string, size_t>> dropped;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
        for (const auto& [application, box] : boxes_) {
            if (const size_t count = Drop(*box); count != 0) {
                dropped.emplace_back(application.process, count);
            }
        }
        boxes_.clear();
        changed_.notify_all();
        Wake();
    }
    for (const auto& [process, count] : dropped) {
        Log("%zu queued messages for %s dropped", count, process.c_str());
    }
    if (thread_.joinable()) {  // no thread is started once stopped_ is set
        thread_.join();
    }
}

void Mail::Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopped_) {
        if (ready_.empty()) {
            const bool isSomebodyBlocked = !blocked_.empty();
            lock.unlock();
            AwaitWork(isSomebodyBlocked);
            lock.lock();
            ready_.splice(ready_.end(), blocked_);
            continue;
        }
        // A few messages each in turn, so that a long queue does not hold up the others.
        std::list<BoxPtr> place;
        place.splice(place.end(), ready_, ready_.begin());
        const BoxPtr box = place.front();
        if (!box->queue.empty() && !SendNext(lock, box)) {
            blocked_.splice(blocked_.end(), place);
        } else if (box->queue.empty()) {
            box->scheduled = false;  // all is sent, or it was closed in the meantime
        } else {
            ready_.splice(ready_.end(), place);
        }
        changed_.notify_all();
    }
}

// False when the receiver has no room now. Takes no memory of its own.
bool Mail::SendNext(std::unique_lock<std::mutex>& lock, const BoxPtr& box) {
    std::array<Letter, MOST_AT_ONCE> letters;
    const size_t count = std::min(letters.size(), box->queue.size());
    std::copy_n(box->queue.begin(), count, letters.begin());
    const TagMsgBlock block = BlockTo(box->application.process, box->task);
    sending_ = true;
    lock.unlock();
    uint32_t taken = 0;
    const int result = Send(block, letters.data(), count, taken);
    lock.lock();
    sending_ = false;
    const uint32_t refused = result != 0 && result != ORVI_BUS_E_WOULD_BLOCK ? 1 : 0;  // and lost
    box->hasTriedPatience = box->hasTriedPatience && taken + refused == 0;
    box->counts.sent += taken;
    box->counts.failed += refused;
    if (!box->closed) {
        box->queue.erase(box->queue.begin(), box->queue.begin() + taken + refused);
        if (result == ORVI_BUS_E_ABSENT) {
            lock.unlock();
            try {
                onAbsent_(box->application);
            } catch (const std::exception& exception) {  // the next message to it tells again
                Log("the absence of %s is not noted: %s", block.recvProcName, exception.what());
            }
            lock.lock();
        }
    }
    return result != ORVI_BUS_E_WOULD_BLOCK;
}

int Mail::Send(const TagMsgBlock& to, const Letter* letters, size_t count, uint32_t& taken) {
    std::array<TagMsgBlock, MOST_AT_ONCE> blocks;
    for (size_t i = 0; i < count; ++i) {
        const Payload& payload = *letters[i].payload;
        blocks[i] = to;
        blocks[i].msgId = letters[i].id;
        blocks[i].dataLen = static_cast<uint32_t>(payload.size());
        // The bus only reads what it sends; its block has no const.
        blocks[i].data = payload.empty() ? nullptr : const_cast<uint8_t*>(payload.data());
    }
    const int result = OrviHostMsgTrySendSeveral(blocks.data(), static_cast<uint32_t>(count), &taken);
    for (size_t i = 0; i < taken; ++i) {
        LogVerbose("sent %#x \"%s\" to %s/%s, %u bytes", letters[i].id, EventName(letters[i].id), to.recvProcName,
                   to.recvTaskName, blocks[i].dataLen);
    }
    if (result != 0 && result != ORVI_BUS_E_WOULD_BLOCK) {
        const uint32_t id = letters[taken].id;
        Log("cannot send %#x \"%s\" to %s/%s: the bus says %d", id, EventName(id), to.recvProcName, to.recvTaskName,
            result);
    }
    return result;
}

// Returns when something has been posted, somebody may have room again, or the end has come.
void Mail::AwaitWork(bool isSomebodyBlocked) const {
    const int result = OrviHostMsgAwaitRoom(wake_, LONGEST_WAIT_MS);
    if (result != 0 && result != ORVI_BUS_E_TIMEOUT) {
        // The bus cannot tell of room, so look again now and then.
        pollfd watched = {wake_, POLLIN, 0};
        (void)poll(&watched, 1, isSomebodyBlocked ? 100 : -1);
    }
    eventfd_t count = 0;
    (void)eventfd_read(wake_, &count);
}

}  // namespace orvi_sim
