// The client library without a service: link orvi::ai_srv_fake (liborvi_ai_srv_fake.a) in the place of orvi::ai_srv, and
// each of its functions does what the test scripts, and keeps what it was given.
//
//   namespace fake = orvi::test::fake;
//   fake::of<OrviAiSrvCaptionStart>().returns_once(-1);               // then 0 again
//   ...                                                              // the code under test
//   EXPECT_EQ(fake::of<OrviAiSrvCaptionStart>().count(), 2u);
//   const auto& [conference, report] = fake::of<OrviAiSrvCaptionStart>().last();
//   EXPECT_STREQ(conference->text1, "Monday");                       // a copy, made during the call
//   fake::fire_caption(ORVI_AI_CAPTION_EVENT_38, &line);             // runs the callback on this thread
//   fake::reset();                                                   // between tests
//
// Unscripted, a function succeeds as the library's would with a service that agrees: 0 (the two director functions that
// always fail: -1), a new detector has a handle of its own, every ability is there, outputs of the service are zero.
// Arguments are not checked: what the library refuses is for the test to script. C++17; any thread may call.
#ifndef ORVI_TEST_FAKE_HPP
#define ORVI_TEST_FAKE_HPP

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "orvi_ai_srv.h"

namespace orvi::test::fake {

namespace detail {

// What is kept of an argument: records and numbers themselves, texts and records behind pointers as copies, of which null
// is none. A pointer to what the function fills in is kept as it is.
template <class Argument>
struct Kept {
    using Type = Argument;
    static Type Of(const Argument& argument) { return argument; }
};

template <>
struct Kept<const char*> {
    using Type = std::optional<std::string>;
    static Type Of(const char* text) { return text != nullptr ? Type(text) : std::nullopt; }
};

template <class Record>
struct KeptRecord {
    using Type = std::optional<Record>;
    static Type Of(const Record* record) { return record != nullptr ? Type(*record) : std::nullopt; }
};

template <>
struct Kept<tagOrviAiConfInfo*> : KeptRecord<tagOrviAiConfInfo> {};
template <>
struct Kept<uint32_t*> : KeptRecord<uint32_t> {};  // the room that a buffer has

// The arguments of one call. Lists whose length is another argument have a form of their own.
template <class... Arguments>
std::tuple<typename Kept<Arguments>::Type...> Keep(Arguments... arguments) {
    return {Kept<Arguments>::Of(arguments)...};
}

inline std::tuple<void*, std::vector<int>, int, tagOrviAiSrvPhotoResult*> Keep(void* handle, int* ids, int count,
                                                                               tagOrviAiSrvPhotoResult* result) {
    return {handle, ids != nullptr && count > 0 ? std::vector<int>(ids, ids + count) : std::vector<int>(), count,
            result};
}

inline std::tuple<std::vector<OrviAiAssistantIntentName>, int> Keep(OrviAiAssistantIntentName* intents, int count) {
    using Names = std::vector<OrviAiAssistantIntentName>;
    return {intents != nullptr && count > 0 ? Names(intents, intents + count) : Names(), count};
}

// All scripts that exist, so that reset() finds them.
class AnyScript {
 public:
    virtual void reset() = 0;

 protected:
    AnyScript() = default;
    ~AnyScript() = default;  // they last as long as the process
    void Register();         // once the object is whole: another thread may reset it at once
};

template <class Function>
class ScriptOf;

}  // namespace detail

template <class Result, class... Arguments>
class detail::ScriptOf<Result (*)(Arguments...)> final : public AnyScript {
 public:
    using Behaviour = std::function<Result(Arguments...)>;
    using Call = decltype(Keep(std::declval<Arguments>()...));

    ScriptOf() { Register(); }
    ScriptOf(const ScriptOf&) = delete;
    ScriptOf& operator=(const ScriptOf&) = delete;

    // From now on, for each call that has no script of its own.
    template <class Value>
    ScriptOf& returns(Value result) {
        return does([result](Arguments...) { return static_cast<Result>(result); });
    }
    ScriptOf& does(Behaviour behaviour) {
        const std::lock_guard<std::mutex> lock(mutex_);
        default_.swap(behaviour);  // the former one goes without the lock: what it holds may call the library
        return *this;
    }

    // For the next call that has none yet; repeated, for the one behind it. A behaviour is given what the caller gave.
    template <class Value>
    ScriptOf& returns_once(Value result) {
        return does_once([result](Arguments...) { return static_cast<Result>(result); });
    }
    ScriptOf& does_once(Behaviour behaviour) {
        const std::lock_guard<std::mutex> lock(mutex_);
        queue_.push_back(std::move(behaviour));
        return *this;
    }

    // The arguments of each call so far, in their order.
    std::vector<Call> calls() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return calls_;
    }
    std::size_t count() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return calls_.size();
    }

    // Throws std::logic_error when there was none.
    Call last() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (calls_.empty()) {
            throw std::logic_error("this function has not been called");
        }
        return calls_.back();
    }

    // Scripted results that no call has used yet.
    std::size_t unused() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return queue_.size();
    }

    void reset() override {
        Behaviour former;
        std::deque<Behaviour> formerQueue;
        const std::lock_guard<std::mutex> lock(mutex_);
        default_.swap(former);
        queue_.swap(formerQueue);
        calls_.clear();
    }

    // The function itself; `usual` is what it does unscripted. No lock is held while a behaviour runs: it may call the
    // library and script anew.
    template <class Usual>
    Result Perform(Usual usual, Arguments... arguments) {
        Behaviour behaviour;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            calls_.push_back(Keep(static_cast<Arguments>(arguments)...));
            if (!queue_.empty()) {
                behaviour = std::move(queue_.front());
                queue_.pop_front();
            } else {
                behaviour = default_;
            }
        }
        return behaviour ? behaviour(static_cast<Arguments>(arguments)...)
                         : static_cast<Result>(usual(static_cast<Arguments>(arguments)...));
    }

 private:
    mutable std::mutex mutex_;  // guards what follows
    Behaviour default_;
    std::deque<Behaviour> queue_;
    std::vector<Call> calls_;
};

// The script and the record of one function of the library.
template <auto Function>
detail::ScriptOf<decltype(Function)>& of() {
    static auto& script = *new detail::ScriptOf<decltype(Function)>;  // stays, as threads may call to the end
    return script;
}

// Forgets all scripts, calls and callbacks.
void reset();

// Runs a callback that the code under test has handed in, on the thread that calls this, as the library's message thread
// would. `payload` is what the service would send. Throws std::logic_error when there is none yet, or (faces) any more.
void fire(OrviAiEventId event, void* payload = nullptr);
void fire_status(OrviAiStatusType type, int32_t status);
void fire_caption(OrviAiCaptionEventId event, void* payload = nullptr);
void fire_face(tagOrviAiSrvFaceDetEvent event);  // of the source event.sourceId

// A photo for fill_photos().
struct Photo {
    uint32_t faceId;
    std::vector<uint8_t> image;
};

// Fills the result of a query as the library does: OrviAiService::FreePhotoResult releases it, with whatever the caller
// forgets showing up as a leak.
//   fake::of<OrviAiSrvFaceDetectorGetById>().does([](void*, int*, int, tagOrviAiSrvPhotoResult* result) {
//       return fake::fill_photos(result, {{1003, {1, 2, 3}}});
//   });
int fill_photos(tagOrviAiSrvPhotoResult* result, const std::vector<Photo>& photos);

}  // namespace orvi::test::fake

#endif
