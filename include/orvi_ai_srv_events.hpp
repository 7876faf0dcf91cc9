// What orvi_ai_srv.hpp is built on, of use by itself: results that keep the library's number, events that can be kept,
// and the queue that brings them to an application's own loop. Header only, C++17.
#ifndef ORVI_AI_SRV_EVENTS_HPP
#define ORVI_AI_SRV_EVENTS_HPP

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include "orvi_ai_srv.h"

namespace orvi {

// Why a call did not do what it was asked for. The library itself tells FAILED alone, and the reason in its log; the
// others are this layer's, which refuses before the library is called.
enum class Error {
    NONE,
    FAILED,         // the library returned -1: its log has the reason
    UNKNOWN,        // the library returned a number that it does not promise, which raw() tells
    NO_STATUS,      // the assistant's status is 0, or it could not be asked: the library's 0 stands for both
    TEXT_TOO_LONG,  // for its field, with the NUL behind it
    TEXT_HAS_NUL,   // inside
    OUT_OF_RANGE,   // more entries than the library's argument counts
    NO_OBJECT,      // not opened, closed, or moved away
    ALREADY,        // a process has one connection, and one detector at a time
    NO_HANDLER,     // the std::function is empty
    OTHER_PROCESS   // a forked child has its parent's object
};

// The outcome of one call: true when it succeeded.
class [[nodiscard]] Result {
 public:
    constexpr Result() = default;
    constexpr explicit Result(Error refused) : error_(refused), raw_(-1) {}
    // What a function of the library returned.
    static constexpr Result Of(int returned) {
        Result result;
        result.raw_ = returned;
        result.error_ = returned == 0 ? Error::NONE : returned == -1 ? Error::FAILED : Error::UNKNOWN;
        return result;
    }
    static constexpr Result Of(Error error, int returned) {
        Result result(error);
        result.raw_ = returned;
        return result;
    }

    constexpr explicit operator bool() const { return error_ == Error::NONE; }
    constexpr Error error() const { return error_; }
    constexpr int raw() const { return raw_; }  // of the library; -1 where this layer refused
    const char* what() const {
        switch (error_) {
            case Error::NONE:
                return "done";
            case Error::FAILED:
                return "failed, the log has the reason";
            case Error::UNKNOWN:
                return "an unknown result";
            case Error::NO_STATUS:
                return "no status";
            case Error::TEXT_TOO_LONG:
                return "a text is too long";
            case Error::TEXT_HAS_NUL:
                return "a text has a NUL inside";
            case Error::OUT_OF_RANGE:
                return "too many entries";
            case Error::NO_OBJECT:
                return "nothing is open";
            case Error::ALREADY:
                return "there is one already";
            case Error::NO_HANDLER:
                return "the handler is empty";
            case Error::OTHER_PROCESS:
                return "it belongs to the process that forked";
        }
        return "an unknown error";
    }

 private:
    Error error_ = Error::NONE;
    int raw_ = 0;
};

// The outcome of a call that hands something over: `value` has it exactly when `result` is a success.
template <class T>
struct [[nodiscard]] Answer {
    Result result;
    std::optional<T> value = std::nullopt;

    explicit operator bool() const { return value.has_value(); }
    T& operator*() { return value.value(); }  // throws std::bad_optional_access without a value
    T* operator->() { return &value.value(); }
};

// Where an event comes from: says which enumeration its number belongs to.
enum class Source { MAIN, CAPTIONS };

// The length in bytes of a service's payload, which is never null here and carries its length or has a fixed one; 0
// when it is not known. Called on the message thread. orvi::sim::PayloadLength is the simulated service's.
using PayloadLength = std::size_t (*)(Source source, int event, const void* payload);

// What came with an event.
class Payload {
 public:
    Payload() = default;
    // The library's own, as long as the handler runs.
    static Payload Borrowed(const void* data) {
        Payload payload;
        payload.sent_ = data != nullptr;
        payload.borrowed_ = data;
        return payload;
    }
    static Payload Copied(const void* data, std::size_t size) {
        Payload payload;
        const auto* const first = static_cast<const std::uint8_t*>(data);
        payload.sent_ = true;
        payload.bytes_ = std::make_shared<const std::vector<std::uint8_t>>(first, first + size);
        return payload;
    }
    static Payload LeftOut() {
        Payload payload;
        payload.sent_ = true;
        return payload;
    }

    // The service sent one. It has no data() all the same when it came through a queue that does not know its length.
    bool sent() const { return sent_; }
    const void* data() const { return bytes_ ? bytes_->data() : borrowed_; }
    // Known of what came through a queue.
    std::optional<std::size_t> size() const {
        return bytes_ ? std::optional<std::size_t>(bytes_->size()) : std::nullopt;
    }
    // A copy of a fixed record; none when there is no data or the payload is known to be shorter.
    template <class Record>
    std::optional<Record> as() const {
        static_assert(std::is_trivially_copyable_v<Record>);
        if (data() == nullptr || size().value_or(sizeof(Record)) < sizeof(Record)) {
            return std::nullopt;
        }
        Record record;
        std::memcpy(&record, data(), sizeof(record));
        return record;
    }

 private:
    bool sent_ = false;
    const void* borrowed_ = nullptr;
    std::shared_ptr<const std::vector<std::uint8_t>> bytes_;
};

// One piece of set-up that was done again.
struct Restored {
    const char* what;
    Result result;
};

// What the main callback is told.
struct Event {
    OrviAiEventId id;
    Payload payload;
    std::vector<Restored> restored = {};  // with ORVI_AI_EVENT_SERVICE_START, when that was asked for

    std::optional<tagOrviAiServiceStatusEvent> status() const {
        return id == ORVI_AI_EVENT_STATUS ? payload.as<tagOrviAiServiceStatusEvent>() : std::nullopt;
    }
};

// What the caption callback is told.
struct CaptionEvent {
    OrviAiCaptionEventId id;
    Payload payload;
};

using FaceEvent = tagOrviAiSrvFaceDetEvent;

namespace detail {

// Whether this thread is inside a handler: it must not wait for one then, least of all for its own.
inline int& HandlerDepth() {
    thread_local int depth = 0;
    return depth;
}

// Events that outlive a full queue, since what the application does next hangs on them.
enum class Presence { NONE, EXIT, START };

// Shared by a queue and those that put events into it, so that either may go first.
class QueueState {
 public:
    QueueState(std::size_t capacity, std::size_t maxBytes, PayloadLength lengthOfPayload,
               std::function<void(std::uint64_t)> onLost)
        : length(lengthOfPayload),
          capacity_(capacity),
          maxBytes_(maxBytes),
          onLost_(std::move(onLost)),
          process_(getpid()),
          fd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
        if (fd_ < 0) {
            throw std::system_error(errno, std::generic_category(), "orvi::EventQueue: eventfd");
        }
    }
    ~QueueState() { (void)::close(fd_); }
    QueueState(const QueueState&) = delete;
    QueueState& operator=(const QueueState&) = delete;

    int fd() const { return fd_; }
    bool IsForeign() const { return getpid() != process_; }

    void Push(std::function<void()> run, std::size_t bytes, Presence presence) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (closed_) {
            TellOnce();
            return;
        }
        const bool hasRoom =
            items_.size() < capacity_ && (items_.empty() || bytes <= maxBytes_ - std::min(maxBytes_, bytes_));
        if (!hasRoom && (presence == Presence::NONE || !MakeRoom(presence))) {
            if (presence == Presence::NONE) {
                Lose();
            }
            return;
        }
        try {
            items_.push_back({std::move(run), bytes, presence, !hasRoom});
        } catch (const std::bad_alloc&) {
            Lose();
            return;
        }
        bytes_ += bytes;
        Signal();
    }

    // For an event that there was no memory for.
    void CountLost() {
        const std::lock_guard<std::mutex> lock(mutex_);
        Lose();
    }

    std::size_t Dispatch() {
        std::unique_lock<std::mutex> lock(mutex_);
        std::size_t handed = 0;
        for (std::size_t waiting = items_.size(); handed < waiting && !items_.empty(); ++handed) {
            Item item = std::move(items_.front());
            items_.pop_front();
            bytes_ -= item.bytes;
            Unsignal();
            lock.unlock();
            item.run();  // may throw, to the caller: the rest stays and the descriptor stays readable
            item.run = nullptr;
            lock.lock();
        }
        const std::uint64_t lost = std::exchange(lost_, 0);
        Unsignal();
        lock.unlock();
        if (lost != 0 && onLost_) {
            onLost_(lost);
        } else if (lost != 0) {
            std::fprintf(stderr, "orvi::EventQueue: %llu events were lost, the queue was full\n",
                         static_cast<unsigned long long>(lost));
        }
        return handed;
    }

    void Close() {
        std::deque<Item> dropped;  // freed without the lock
        const std::lock_guard<std::mutex> lock(mutex_);
        closed_ = true;
        dropped.swap(items_);
        bytes_ = 0;
    }

    const PayloadLength length;

 private:
    struct Item {
        std::function<void()> run;
        std::size_t bytes;
        Presence presence;
        bool isExtra;  // stands beyond the capacity
    };

    // Room for a start or an exit beyond the capacity. At most an exit and a start stand there: whole cycles that
    // nobody has looked at become one, and their latest state is what is kept. False when it is there already.
    bool MakeRoom(Presence presence) {
        const bool hasExtra = !items_.empty() && items_.back().isExtra;
        if (hasExtra && presence == items_.back().presence) {
            return false;
        }
        if (presence == Presence::EXIT) {
            while (!items_.empty() && items_.back().isExtra) {
                bytes_ -= items_.back().bytes;
                items_.pop_back();
            }
        }
        return true;
    }
    void Lose() {
        ++lost_;
        Signal();
    }
    void TellOnce() {
        if (!std::exchange(toldOfEnd_, true)) {
            std::fprintf(stderr, "orvi::EventQueue: events come to a queue that is gone, and are lost\n");
        }
    }
    void Signal() const {
        const std::uint64_t one = 1;
        (void)!::write(fd_, &one, sizeof(one));  // fails only when it is readable without it
    }
    void Unsignal() const {
        std::uint64_t count = 0;
        if (items_.empty() && lost_ == 0) {
            (void)!::read(fd_, &count, sizeof(count));
        }
    }

    const std::size_t capacity_;
    const std::size_t maxBytes_;
    const std::function<void(std::uint64_t)> onLost_;
    const pid_t process_;
    const int fd_;
    std::mutex mutex_;  // guards what follows; nothing of the application runs under it
    std::deque<Item> items_;
    std::size_t bytes_ = 0;
    std::uint64_t lost_ = 0;
    bool closed_ = false;
    bool toldOfEnd_ = false;
};

inline std::size_t SizeOf(const Payload& payload) {
    return payload.size().value_or(0);
}
inline Payload Keep(const Payload& payload, Source source, int event, PayloadLength length) {
    if (payload.data() == nullptr) {
        return payload;
    }
    constexpr std::size_t MOST = std::size_t{16} << 20;  // that the bus carries
    const std::size_t size = source == Source::MAIN && event == ORVI_AI_EVENT_STATUS
                                 ? sizeof(tagOrviAiServiceStatusEvent)
                             : length != nullptr ? length(source, event, payload.data())
                                                 : 0;
    return size == 0 || size > MOST ? Payload::LeftOut() : Payload::Copied(payload.data(), size);
}

// What a queue keeps of an event, how many bytes that is, and whether a full queue must have it.
inline Event Copy(const Event& event, PayloadLength length) {
    return {event.id, Keep(event.payload, Source::MAIN, event.id, length)};
}
inline CaptionEvent Copy(const CaptionEvent& event, PayloadLength length) {
    return {event.id, Keep(event.payload, Source::CAPTIONS, event.id, length)};
}
inline FaceEvent Copy(const FaceEvent& event, PayloadLength) {
    return event;
}
inline std::size_t BytesOf(const Event& event) {
    return sizeof(event) + SizeOf(event.payload);
}
inline std::size_t BytesOf(const CaptionEvent& event) {
    return sizeof(event) + SizeOf(event.payload);
}
inline std::size_t BytesOf(const FaceEvent& event) {
    return sizeof(event);
}
inline Presence PresenceOf(const Event& event) {
    return event.id == ORVI_AI_EVENT_SERVICE_START  ? Presence::START
           : event.id == ORVI_AI_EVENT_SERVICE_EXIT ? Presence::EXIT
                                                    : Presence::NONE;
}
template <class E>
Presence PresenceOf(const E&) {
    return Presence::NONE;
}

// One handler and where it runs. The handler is kept alive while it runs, whatever it does to its slot.
template <class E>
class Slot : public std::enable_shared_from_this<Slot<E>> {
 public:
    using Handler = std::function<void(const E&)>;

    Slot(Handler handler, std::shared_ptr<QueueState> queue)
        : queue_(std::move(queue)), process_(getpid()), body_(std::make_shared<Body>(std::move(handler))) {}

    // On the message thread.
    void Accept(const E& event) {
        if (queue_ == nullptr) {
            Run(event);
            return;
        }
        try {
            auto kept = std::make_shared<const E>(Copy(event, queue_->length));
            const std::size_t bytes = BytesOf(*kept);
            queue_->Push([self = this->shared_from_this(), kept] { self->Run(*kept); }, bytes, PresenceOf(event));
        } catch (const std::bad_alloc&) {
            queue_->CountLost();
        }
    }

    // The former handler no longer runs on return, unless this is called inside one.
    void Replace(Handler handler) { Exchange(std::make_shared<Body>(std::move(handler))); }
    void Close() { Exchange(nullptr); }

 private:
    struct Body {
        explicit Body(Handler handler) : call(std::move(handler)) {}
        const Handler call;
        unsigned running = 0;  // guarded by the slot's mutex
    };

    // Books a handler's run, also when it throws.
    class Scope {
     public:
        Scope(Slot& slot, Body& body) : slot_(slot), body_(body) { ++HandlerDepth(); }
        ~Scope() {
            --HandlerDepth();
            if (getpid() != slot_.process_) {
                return;  // the handler has forked
            }
            const std::lock_guard<std::mutex> lock(slot_.mutex_);
            --body_.running;
            slot_.ended_.notify_all();
        }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

     private:
        Slot& slot_;
        Body& body_;
    };

    void Run(const E& event) {
        const auto self = this->shared_from_this();
        std::shared_ptr<Body> body;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            body = body_;
            if (body == nullptr) {
                return;
            }
            ++body->running;
        }
        const Scope running(*this, *body);
        body->call(event);
    }

    void Exchange(std::shared_ptr<Body> next) {
        if (getpid() != process_) {
            return;  // a forked child: no handler runs here, and the lock may be held by a thread of the parent
        }
        std::unique_lock<std::mutex> lock(mutex_);
        body_.swap(next);
        if (next != nullptr && HandlerDepth() == 0) {
            ended_.wait(lock, [&] { return next->running == 0; });
        }
        lock.unlock();  // the former handler is freed without it
    }

    const std::shared_ptr<QueueState> queue_;  // null: the handler runs on the message thread
    const pid_t process_;
    std::mutex mutex_;
    std::condition_variable ended_;
    std::shared_ptr<Body> body_;
};

}  // namespace detail

// Brings events from the message thread to an application's own loop: the handlers of what was opened with it run
// inside dispatch(), on the thread that calls it, in the order of the events.
//
// It is bounded. What does not fit is lost, the newest first, counted, and told to `onLost` by dispatch(), or in a
// line on standard error when there is none; only the exit and the start of the service always fit, whereby restarts
// that nobody has looked at become one.
class EventQueue {
 public:
    struct Options {
        std::size_t capacity = 1024;                   // events
        std::size_t maxBytes = std::size_t{16} << 20;  // all of them; one longer event alone fits as well
        PayloadLength payloadLength = nullptr;         // without it, payloads of the service's own layout are left out
        std::function<void(std::uint64_t)> onLost = {};  // how many, since it was told the last time
    };

    // Throws std::system_error when the process has no descriptor left.
    EventQueue() : EventQueue(Options()) {}
    explicit EventQueue(Options options)
        : state_(std::make_shared<detail::QueueState>(options.capacity, options.maxBytes, options.payloadLength,
                                                      std::move(options.onLost))) {}
    // Also inside dispatch(). Waiting events are dropped; events that still come are, with one line on standard error.
    ~EventQueue() {
        if (!state_->IsForeign()) {
            state_->Close();
        }
    }
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    // Readable, as poll() sees it, while dispatch() has something to do. Only to be polled; the queue's own: a loop waits for
    // it no more when the queue is destroyed.
    int fd() const { return state_->fd(); }

    // Runs the handlers of the events that are waiting now, and returns how many events that were; waits for none.
    // What a handler throws comes out of it, behind its event; the others go on waiting. Throws std::logic_error in a
    // forked child, whose queue is its parent's.
    std::size_t dispatch() {
        if (state_->IsForeign()) {
            throw std::logic_error("orvi::EventQueue: it belongs to the process that forked");
        }
        const std::shared_ptr<detail::QueueState> state = state_;  // a handler may end the queue
        return state->Dispatch();
    }

 private:
    friend class Connection;
    std::shared_ptr<detail::QueueState> state_;
};

}  // namespace orvi

#endif
