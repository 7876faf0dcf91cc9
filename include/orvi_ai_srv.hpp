// The library's functions for C++17: owners, handlers with state, results that must be looked at, an event queue for an
// application's own loop, and set-up that is done again after a restart of the service. Header only: it calls the
// functions of orvi_ai_srv.h, whose conventions hold, and adds none to the library.
//
// 1. Threads. What is made here (a connection, what hangs on it, a detector, photos) is used by one thread at a time,
//    like a container; two objects that share a connection count as one.
// 2. Handlers. They run on the library's message thread, or inside EventQueue::dispatch() when the connection was
//    opened with a queue. A handler may do everything: make requests, replace itself, close or destroy the object that
//    it belongs to, or the queue. Outside of handlers, what replaces or ends a handler returns when it no longer runs:
//    hold no lock there that it takes. A handler does not wait for another.
// 3. Exceptions. What a handler throws on the message thread ends in one error line of the library's log; what it
//    throws inside dispatch() comes out of dispatch(). This layer throws std::bad_alloc, and what is said otherwise.
// 4. Results. No error is hidden: destructors, which cannot return one, have a function beside them that does. The log
//    has the library's reason.
// 5. Forks. In a forked child the parent's objects do nothing: calls fail with OTHER_PROCESS or as the library does,
//    destructors send nothing, dispatch() throws.
// 6. One a process. The library has one callback of a kind for the life of the process. So has this layer, over all
//    shared objects that are built with it; such an object must not be unloaded.
#ifndef ORVI_AI_SRV_HPP
#define ORVI_AI_SRV_HPP

#include <array>
#include <atomic>
#include <string>
#include <string_view>

#include "orvi_ai_srv_events.hpp"

namespace orvi {

// Puts a text and its NUL into a field of a record, and zeros behind it. The field is untouched when it is refused.
template <std::size_t N>
Result setText(char (&field)[N], std::string_view text) {
    if (text.size() >= N) {
        return Result(Error::TEXT_TOO_LONG);
    }
    if (text.find('\0') != std::string_view::npos) {
        return Result(Error::TEXT_HAS_NUL);
    }
    std::memset(field, 0, N);
    std::memcpy(field, text.data(), text.size());
    return {};
}

// What a service does that comes back.
enum class AtStart {
    REPORT,       // the handler is told, and sets up what it needs
    SET_UP_AGAIN  // before the handler is told, on its thread, the process is announced and all set-up that had
                  // succeeded is done again, in its order; the event tells how each of it went
};

// Where the handlers of captions and faces run.
enum class Where {
    AS_CONNECTION,  // in its queue, if it has one
    MESSAGE_THREAD
};

namespace detail {

// Slots of the process's three callbacks. Never destroyed: events may arrive while the process exits.
class __attribute__((visibility("default"))) Hub {
 public:
    static Hub& Get() {
        static Hub* const hub = new Hub;
        return *hub;
    }
    // False in a child forked after the first connection was opened, which has no events; no lock is to be taken there.
    bool IsOwn() const { return process_ == 0 || process_ == getpid(); }

    // Takes the slot when it is free.
    template <class E>
    bool Claim(const std::shared_ptr<Slot<E>>& slot) {
        const std::lock_guard<std::mutex> lock(mutex_);
        process_ = getpid();
        std::shared_ptr<Slot<E>>& own = Of(static_cast<E*>(nullptr));
        if (own != nullptr) {
            return false;
        }
        own = slot;
        return true;
    }
    // Gives it back, and waits for its handler as convention 2 says.
    template <class E>
    void Release(std::shared_ptr<Slot<E>>& slot) {
        if (slot == nullptr || !IsOwn()) {
            return;
        }
        slot->Close();
        const std::lock_guard<std::mutex> lock(mutex_);
        std::shared_ptr<Slot<E>>& own = Of(static_cast<E*>(nullptr));
        if (own == slot) {
            own = nullptr;
        }
        slot = nullptr;
    }

    static void OnMain(OrviAiEventId id, void* payload) { Get().Tell(Event{id, Payload::Borrowed(payload)}); }
    static void OnCaption(OrviAiCaptionEventId id, void* payload) {
        Get().Tell(CaptionEvent{id, Payload::Borrowed(payload)});
    }
    static void OnFace(tagOrviAiSrvFaceDetEvent* event) { Get().Tell(*event); }

 private:
    template <class E>
    void Tell(const E& event) {
        std::shared_ptr<Slot<E>> slot;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            slot = Of(static_cast<E*>(nullptr));
        }
        if (slot != nullptr) {
            slot->Accept(event);
        }
    }
    std::shared_ptr<Slot<Event>>& Of(Event*) { return main_; }
    std::shared_ptr<Slot<CaptionEvent>>& Of(CaptionEvent*) { return captions_; }
    std::shared_ptr<Slot<FaceEvent>>& Of(FaceEvent*) { return faces_; }

    std::mutex mutex_;
    std::atomic<pid_t> process_{0};  // that opened a connection
    std::shared_ptr<Slot<Event>> main_;
    std::shared_ptr<Slot<CaptionEvent>> captions_;
    std::shared_ptr<Slot<FaceEvent>> faces_;
};

// Pieces of set-up; each is kept once.
enum class Step {
    CAPTIONS_INIT,
    CAPTIONS,
    NAMEPLATES_INIT,
    NAMEPLATES,
    DIRECTOR,
    LOCK,
    CHECKIN_INIT,
    CHECKIN,
    CHECKIN_REPORT,
    MINUTES,
    MODEL,
    KEY_WORD,
    HOT_WORDS,
    INTENTS,
    PAGE,
    DETECTOR
};

// A connection, as what hangs on it sees it.
struct Link {
    struct Kept {
        Step step;
        const char* what;
        std::function<Result()> redo;
    };

    tagOrviAppInfo identity = {};
    std::shared_ptr<QueueState> queue;
    std::shared_ptr<Slot<Event>> main;
    std::shared_ptr<Slot<CaptionEvent>> captions;
    bool keeps = false;
    bool isOpen = false;
    std::vector<Kept> kept;  // in the order in which it was done first

    Result Announce() const { return Result::Of(OrviAiSrvApiInit(identity, Hub::OnMain)); }

    // Does a piece of set-up, and keeps it when it succeeds.
    template <class Do>
    Result Keep(Step step, const char* what, Do redo) {
        const Result result = redo();
        if (!keeps || !result) {
            return result;
        }
        for (Kept& one : kept) {
            if (one.step == step) {
                one.redo = std::move(redo);
                return result;
            }
        }
        kept.push_back({step, what, std::move(redo)});
        return result;
    }
    // Whatever the service says to the end of it: it is not wanted any more.
    void Forget(Step first, Step last) {
        kept.erase(std::remove_if(kept.begin(), kept.end(),
                                  [=](const Kept& one) { return one.step >= first && one.step <= last; }),
                   kept.end());
    }
    std::vector<Restored> Again() const {
        std::vector<Restored> all;
        all.push_back({"connection", Announce()});
        for (const Kept& one : kept) {
            all.push_back({one.what, one.redo()});
        }
        return all;
    }
    std::shared_ptr<QueueState> QueueFor(Where where) const { return where == Where::AS_CONNECTION ? queue : nullptr; }
};

// A feature of a connection; valid as long as that is open.
class Feature {
 public:
    explicit Feature(std::shared_ptr<Link> link) : link_(std::move(link)) {}

 protected:
    bool IsOpen() const { return link_ != nullptr && link_->isOpen; }
    template <class Do>
    Result Keep(Step step, const char* what, Do redo) const {
        return IsOpen() ? link_->Keep(step, what, std::move(redo)) : Result(Error::NO_OBJECT);
    }
    template <class Do>
    Result Once(Do call) const {
        return IsOpen() ? call() : Result(Error::NO_OBJECT);
    }
    template <class Do>
    Result End(Step first, Step last, Do call) const {
        if (!IsOpen()) {
            return Result(Error::NO_OBJECT);
        }
        link_->Forget(first, last);
        return call();
    }
    std::shared_ptr<Link> link_;
};

}  // namespace detail

// Needs no connection. The library's version.
inline Answer<std::string> version() {
    char text[16] = {};
    const Result result = Result::Of(OrviAiSrvGetVersion(text, sizeof(text)));
    return result ? Answer<std::string>{result, text} : Answer<std::string>{result};
}

// Needs no connection. Two figures about the assistant.
inline Answer<OrviAiAssistantAbility> assistantAbility() {
    OrviAiAssistantAbility ability = {};
    const Result result = Result::Of(OrviAiAssistantGetAbility(&ability));
    return result ? Answer<OrviAiAssistantAbility>{result, ability} : Answer<OrviAiAssistantAbility>{result};
}

// Needs no connection; with one, the service is asked about the large model and the assistant.
inline Answer<tagOrviAiAbility> ability() {
    tagOrviAiAbility ability = {};
    const Result result = Result::Of(OrviAiSrvGetAbility(&ability));
    return result ? Answer<tagOrviAiAbility>{result, ability} : Answer<tagOrviAiAbility>{result};
}

// Captions. The handler stays until end(), another init(), or the end of the connection.
class Captions : detail::Feature {
 public:
    using Feature::Feature;
    using Handler = std::function<void(const CaptionEvent&)>;

    Result init(Handler handler, Where where = Where::AS_CONNECTION) const {
        if (!handler) {
            return Result(Error::NO_HANDLER);
        }
        if (!IsOpen()) {
            return Result(Error::NO_OBJECT);
        }
        if (!detail::Hub::Get().IsOwn()) {
            return Result(Error::OTHER_PROCESS);
        }
        detail::Hub::Get().Release(link_->captions);
        auto slot = std::make_shared<detail::Slot<CaptionEvent>>(std::move(handler), link_->QueueFor(where));
        if (!detail::Hub::Get().Claim(slot)) {
            return Result(Error::ALREADY);
        }
        link_->captions = std::move(slot);
        return Keep(detail::Step::CAPTIONS_INIT, "captions, init",
                    [] { return Result::Of(OrviAiSrvCaptionInit(detail::Hub::OnCaption)); });
    }
    Result start(const tagOrviAiConfInfo& conference, bool isReported = true) const {
        return Keep(detail::Step::CAPTIONS, "captions, start", [conference, isReported] {
            tagOrviAiConfInfo copy = conference;
            return Result::Of(OrviAiSrvCaptionStart(&copy, isReported ? 1 : 0));
        });
    }
    Result stop() const {
        return End(detail::Step::CAPTIONS, detail::Step::CAPTIONS, [] { return Result::Of(OrviAiSrvCaptionStop()); });
    }
    // The handler is gone then, whatever the result.
    Result end() const {
        const Result result = End(detail::Step::CAPTIONS_INIT, detail::Step::CAPTIONS,
                                  [] { return Result::Of(OrviAiSrvCaptionDeInit()); });
        if (IsOpen()) {
            detail::Hub::Get().Release(link_->captions);
        }
        return result;
    }
};

class Nameplates : detail::Feature {
 public:
    using Feature::Feature;
    Result init() const {
        return Keep(detail::Step::NAMEPLATES_INIT, "nameplates, init",
                    [] { return Result::Of(OrviAiSrvNamePlateInit()); });
    }
    Result start() const {
        return Keep(detail::Step::NAMEPLATES, "nameplates, start",
                    [] { return Result::Of(OrviAiSrvNamePlateStart()); });
    }
    Result stop() const {
        return End(detail::Step::NAMEPLATES, detail::Step::NAMEPLATES,
                   [] { return Result::Of(OrviAiSrvNamePlateStop()); });
    }
    Result end() const {
        return End(detail::Step::NAMEPLATES_INIT, detail::Step::NAMEPLATES,
                   [] { return Result::Of(OrviAiSrvNamePlateDeInit()); });
    }
};

// The camera director. init() and end() always fail, as the library's functions do: it needs neither.
class Director : detail::Feature {
 public:
    using Feature::Feature;
    Result init() const {
        return Once([] { return Result::Of(OrviAiSrvDirectorInit()); });
    }
    Result start() const {
        return Keep(detail::Step::DIRECTOR, "director, start", [] { return Result::Of(OrviAiSrvDirectorStart()); });
    }
    Result stop() const {
        return End(detail::Step::DIRECTOR, detail::Step::DIRECTOR, [] { return Result::Of(OrviAiSrvDirectorStop()); });
    }
    Result end() const {
        return Once([] { return Result::Of(OrviAiSrvDirectorDeInit()); });
    }
};

class CheckIn : detail::Feature {
 public:
    using Feature::Feature;
    Result init() const {
        return Keep(detail::Step::CHECKIN_INIT, "check-in, init", [] { return Result::Of(OrviAiSrvCheckInInit()); });
    }
    Result start(const tagOrviAiConfIdInfo& conference) const {
        return Keep(detail::Step::CHECKIN, "check-in, start",
                    [conference] { return Result::Of(OrviAiSrvCheckInStart(conference)); });
    }
    Result startReport(tagOrviAiCheckinType type, const tagOrviAiConfIdInfo& conference) const {
        return Keep(detail::Step::CHECKIN_REPORT, "check-in, report",
                    [type, conference] { return Result::Of(OrviAiSrvCheckInStartReport(type, conference)); });
    }
    Result stopReport() const {
        return End(detail::Step::CHECKIN_REPORT, detail::Step::CHECKIN_REPORT,
                   [] { return Result::Of(OrviAiSrvCheckInStopReport()); });
    }
    Result stop() const {
        return End(detail::Step::CHECKIN, detail::Step::CHECKIN_REPORT,
                   [] { return Result::Of(OrviAiSrvCheckInStop()); });
    }
    Result clear() const {
        return Once([] { return Result::Of(OrviAiSrvCheckInClearData()); });
    }
    Result end() const {
        return End(detail::Step::CHECKIN_INIT, detail::Step::CHECKIN_REPORT,
                   [] { return Result::Of(OrviAiSrvCheckInDeinit()); });
    }
    // 33 KB; what a shorter reply leaves out is zero.
    Answer<tagCheckinTotalData> page(OrviAiCheckInShowType view, std::uint32_t number) const {
        Answer<tagCheckinTotalData> answer{Result(Error::NO_OBJECT), tagCheckinTotalData{}};
        answer.result = Once([&] { return Result::Of(OrviAiSrvGetCheckinData(&*answer, view, number)); });
        if (!answer.result) {
            answer.value.reset();
        }
        return answer;
    }
    // A photo of at most so many bytes, in the service's encoding; empty when there is none.
    Answer<std::vector<std::uint8_t>> photo(const std::string& userId, std::uint32_t atMost = 1U << 20) const {
        if (userId.size() >= ORVI_AI_CHECKIN_MAX_USER_ID) {
            return {Result(Error::TEXT_TOO_LONG)};
        }
        if (userId.find('\0') != std::string::npos) {
            return {Result(Error::TEXT_HAS_NUL)};
        }
        std::vector<std::uint8_t> bytes(atMost);
        std::uint32_t length = atMost;
        const Result result = Once([&] {
            return Result::Of(OrviAiSrvGetCheckinPhoto(userId.c_str(), static_cast<std::uint32_t>(userId.size()),
                                                       bytes.data(), &length));
        });
        if (!result) {
            return {result};
        }
        bytes.resize(length);
        return {result, std::move(bytes)};
    }
};

class Minutes : detail::Feature {
 public:
    using Feature::Feature;
    Result start(const tagOrviAiMinutesConfInfo& conference) const {
        return Keep(detail::Step::MINUTES, "minutes, start",
                    [conference] { return Result::Of(OrviAiSrvSignatureStart(conference)); });
    }
    Result stop() const {
        return End(detail::Step::MINUTES, detail::Step::MINUTES, [] { return Result::Of(OrviAiSrvSignatureStop()); });
    }
};

// The large model. Requests are not put again after a restart: their answers would come twice, or too late.
class LargeModel : detail::Feature {
 public:
    using Feature::Feature;
    Result init(const OrviAiLLMInitParams& params) const {
        return Keep(detail::Step::MODEL, "large model, init",
                    [params] { return Result::Of(OrviAiSrvLargeModelInit(params)); });
    }
    Result request(const OrviAiModelParams& params) const {
        return Once([&] { return Result::Of(OrviAiSrvLargeModelRequest(params)); });
    }
    Result end(const OrviAiLLMInitParams& params) const {
        return End(detail::Step::MODEL, detail::Step::MODEL,
                   [&] { return Result::Of(OrviAiSrvLargeModelDeInit(params)); });
    }
};

// The voice assistant. Its set-up is the key, the intents, the page, and the hot words as the latest update of the type
// ORVI_AI_HOTWORD_UPDATE left them with those behind it, in their order.
class Assistant : detail::Feature {
 public:
    using Feature::Feature;
    Result initKeyWord() const {
        return Keep(detail::Step::KEY_WORD, "assistant, key", [link = std::weak_ptr<detail::Link>(link_)] {
            const auto own = link.lock();
            return own != nullptr ? Result::Of(OrviAiAssistantInitKeyWord(own->identity)) : Result(Error::NO_OBJECT);
        });
    }
    Result updateKeyWord(OrviAiHotwordUpdateType type, const std::string& words) const {
        if (!IsOpen()) {
            return Result(Error::NO_OBJECT);
        }
        const auto update = [identity = link_->identity, type, words] {
            std::string copy = words;
            return Result::Of(OrviAiAssistantUpdateKeyWord(identity, type, copy));
        };
        const Result result = update();
        if (!link_->keeps || !result) {
            return result;
        }
        if (type != ORVI_AI_HOTWORD_UPDATE_TYPE1 && type != ORVI_AI_HOTWORD_UPDATE_TYPE2) {
            link_->Forget(detail::Step::HOT_WORDS, detail::Step::HOT_WORDS);
        }
        link_->kept.push_back({detail::Step::HOT_WORDS, "assistant, hot words", update});
        return result;
    }
    Result initIntents(const std::vector<OrviAiAssistantIntentName>& intents) const {
        if (intents.size() > ORVI_AI_ASSISTANT_INTENTS_MAX) {
            return Result(Error::OUT_OF_RANGE);
        }
        return Keep(detail::Step::INTENTS, "assistant, intents", [intents] {
            std::vector<OrviAiAssistantIntentName> copy = intents;
            copy.emplace_back();  // the library wants an address also for none
            return Result::Of(OrviAiAssistantInitIntent(copy.data(), static_cast<int>(intents.size())));
        });
    }
    Result answer(std::uint32_t seq, const OrviAiAssistantIntentResult& result) const {
        return Once([&] { return Result::Of(OrviAiAssistantNotifyIntentResult(seq, result)); });
    }
    Result say(std::uint32_t seq, const OrviAiAssistantSpeechText& speech) const {
        return Once([&] { return Result::Of(OrviAiAssistantRequestTts(seq, speech)); });
    }
    Result show(std::uint32_t seq, const OrviAiAssistantCard& card) const {
        return Once([&] { return Result::Of(OrviAiAssistantDisplayCard(seq, card)); });
    }
    Result choose(std::uint32_t seq, std::uint32_t itemId) const {
        return Once([&] { return Result::Of(OrviAiAssistantChooseItem(seq, itemId)); });
    }
    Result wakeUp(OrviAiAssistantRunningMode mode = ORVI_AI_ASSISTANT_MODE_DEFAULT) const {
        return Once([&] { return Result::Of(OrviAiAssistantWakeUp(mode)); });
    }
    Result sleep() const {
        return Once([] { return Result::Of(OrviAiAssistantSleep()); });
    }
    Answer<OrviAiAssistantStatus> status() const {
        OrviAiAssistantStatus status = ORVI_AI_ASSISTANT_STATUS_NONE;
        const Result result = Once([&] {
            status = OrviAiAssistantGetStatus();
            return status == ORVI_AI_ASSISTANT_STATUS_NONE ? Result::Of(Error::NO_STATUS, status) : Result();
        });
        return result ? Answer<OrviAiAssistantStatus>{result, status} : Answer<OrviAiAssistantStatus>{result};
    }
    // What a shorter reply leaves out is zero.
    Answer<OrviAiAssistantPageInfo> page() const {
        OrviAiAssistantPageInfo page = {};
        const Result result = Once([&] { return Result::Of(OrviAiAssistantGetPageInfo(&page)); });
        return result ? Answer<OrviAiAssistantPageInfo>{result, page} : Answer<OrviAiAssistantPageInfo>{result};
    }
    Result setPage(const OrviAiAssistantPageInfo& page) const {
        return Keep(detail::Step::PAGE, "assistant, page",
                    [page] { return Result::Of(OrviAiAssistantSetPageInfo(page)); });
    }
};

// The photos that a query found; released with it.
class Photos {
 public:
    Photos() = default;
    explicit Photos(const tagOrviAiSrvPhotoResult& owned) : photos_(owned) {}
    ~Photos() { OrviAiService::FreePhotoResult(&photos_, photos_.photoNums); }
    Photos(Photos&& other) noexcept : photos_(std::exchange(other.photos_, {})) {}
    Photos& operator=(Photos&& other) noexcept {
        std::swap(photos_, other.photos_);
        return *this;
    }

    // From a whole reply with photos, as the service sends it.
    static Answer<Photos> parse(std::uint8_t* reply) {
        tagOrviAiSrvPhotoResult photos = {};
        const Result result = Result::Of(OrviAiService::PhotoResultExtract(reply, &photos));
        return result ? Answer<Photos>{result, Photos(photos)} : Answer<Photos>{result};
    }

    std::size_t size() const { return photos_.photoList != nullptr ? static_cast<std::size_t>(photos_.photoNums) : 0; }
    const tagOrviAiSrvPhotoInfo* begin() const { return photos_.photoList; }
    const tagOrviAiSrvPhotoInfo* end() const { return photos_.photoList + size(); }
    const tagOrviAiSrvPhotoInfo& operator[](std::size_t index) const { return photos_.photoList[index]; }

 private:
    tagOrviAiSrvPhotoResult photos_ = {};
};

// What a detector is to be.
struct DetectorOptions {
    int sourceId = 0;   // only 0 exists
    int frameRate = 5;  // results per second, 1 to 30
    bool needReID = false;
    Where where = Where::AS_CONNECTION;
};

// A face detector. A process has one at a time: the library has one callback for the one video source.
class Detector {
 public:
    using Handler = std::function<void(const FaceEvent&)>;

    Detector() = default;
    // Destroys it, and drops the result: destroy() has it.
    ~Detector() {
        if (self_ != nullptr && detail::Hub::Get().IsOwn()) {
            (void)destroy();
        }
    }
    Detector(Detector&&) noexcept = default;
    Detector& operator=(Detector&& other) noexcept {
        std::swap(self_, other.self_);
        return *this;
    }

    explicit operator bool() const { return self_ != nullptr; }
    Result start() {
        return Run(true, [](Self& self) { return OrviAiSrvStartFaceDetector(self.handle); });
    }
    Result stop() {
        return Run(false, [](Self& self) { return OrviAiSrvStopFaceDetector(self.handle); });
    }
    Result onFaces(Handler handler) {
        if (!handler || self_ == nullptr) {
            return Result(handler ? Error::NO_OBJECT : Error::NO_HANDLER);
        }
        self_->slot->Replace(std::move(handler));
        return {};
    }
    // 1 to 5 ids, as in the results.
    Answer<Photos> photos(std::vector<int> faceIds) {
        if (self_ == nullptr || self_->handle == nullptr) {
            return {Result(Error::NO_OBJECT)};
        }
        tagOrviAiSrvPhotoResult found = {};
        const int count = static_cast<int>(std::min<std::size_t>(faceIds.size(), INT32_MAX));
        const Result result = Result::Of(OrviAiSrvFaceDetectorGetById(self_->handle, faceIds.data(), count, &found));
        return result ? Answer<Photos>{result, Photos(found)} : Answer<Photos>{result};
    }
    // It is gone then, and its handler too, whatever the result.
    Result destroy() {
        if (self_ == nullptr) {
            return Result(Error::NO_OBJECT);
        }
        const std::shared_ptr<Self> self = std::move(self_);
        if (!detail::Hub::Get().IsOwn()) {
            return Result(Error::OTHER_PROCESS);
        }
        if (const auto link = self->link.lock()) {
            link->Forget(detail::Step::DETECTOR, detail::Step::DETECTOR);
        }
        const Result result = self->handle != nullptr
                                  ? Result::Of(OrviAiSrvDestroyFaceDetector(std::exchange(self->handle, nullptr)))
                                  : Result();
        detail::Hub::Get().Release(self->slot);
        return result;
    }

 private:
    friend class Connection;
    struct Self {
        DetectorOptions options;
        std::weak_ptr<detail::Link> link;
        std::shared_ptr<detail::Slot<FaceEvent>> slot;
        void* handle = nullptr;  // null when it could not be made again; the next start of the service tries once more
        bool isWanted = false;   // started

        Result Create() {
            return Result::Of(OrviAiSrvCreateFaceDetector(&handle, options.sourceId, options.frameRate,
                                                          options.needReID ? 1 : 0, detail::Hub::OnFace));
        }
        Result Again() {
            if (handle != nullptr) {
                // Its service is gone: what the new one says to a detector that it does not know tells nothing.
                (void)OrviAiSrvDestroyFaceDetector(std::exchange(handle, nullptr));
            }
            const Result result = Create();
            return result && isWanted ? Result::Of(OrviAiSrvStartFaceDetector(handle)) : result;
        }
    };

    template <class Do>
    Result Run(bool isWanted, Do call) {
        if (self_ == nullptr || self_->handle == nullptr) {
            return Result(Error::NO_OBJECT);
        }
        const Result result = Result::Of(call(*self_));
        self_->isWanted = isWanted && (result || self_->isWanted);
        return result;
    }

    std::shared_ptr<Self> self_;
};

// The process's connection to the service.
class Connection {
 public:
    using Handler = std::function<void(const Event&)>;

    Connection() = default;
    // Closes it, and drops the result: close() has it.
    ~Connection() {
        if (link_ != nullptr && detail::Hub::Get().IsOwn()) {
            (void)close();
        }
    }
    Connection(Connection&&) noexcept = default;
    Connection& operator=(Connection&& other) noexcept {
        std::swap(link_, other.link_);
        return *this;
    }

    // Connects; the handler receives the service's events, on the message thread or by the queue. FAILED leaves it open
    // as well: the service may not run yet, and the handler is told of its start; isOpen() tells. announce() or the
    // start's AtStart announces the process then. After any other error it is closed.
    Result open(std::string_view appId, Handler handler) {
        return Open(appId, nullptr, std::move(handler), AtStart::REPORT);
    }
    Result open(std::string_view appId, EventQueue& queue, Handler handler, AtStart atStart = AtStart::REPORT) {
        return Open(appId, queue.state_, std::move(handler), atStart);
    }
    bool isOpen() const { return link_ != nullptr; }

    // Announces the process to the service, after a start or a leave().
    Result announce() { return link_ != nullptr ? link_->Announce() : Result(Error::NO_OBJECT); }
    // Tells the service that the process leaves; the handler stays.
    Result leave() { return link_ != nullptr ? Result::Of(OrviAiSrvApiDeinit()) : Result(Error::NO_OBJECT); }
    // Replaces the handler, which no longer runs on return, unless this is called inside one.
    Result onEvent(Handler handler) {
        if (!handler || link_ == nullptr) {
            return Result(handler ? Error::NO_OBJECT : Error::NO_HANDLER);
        }
        link_->main->Replace(Wrap(link_, std::move(handler)));
        return {};
    }
    // Ends the handlers of events and captions and leaves. The connection may be opened again: the process keeps its place
    // on the bus.
    Result close() {
        if (link_ == nullptr) {
            return Result(Error::NO_OBJECT);
        }
        const std::shared_ptr<detail::Link> link = std::move(link_);
        if (!detail::Hub::Get().IsOwn()) {
            return Result(Error::OTHER_PROCESS);
        }
        link->isOpen = false;
        link->kept.clear();
        detail::Hub::Get().Release(link->captions);
        detail::Hub::Get().Release(link->main);
        return Result::Of(OrviAiSrvApiDeinit());
    }

    Captions captions() const { return Captions(link_); }
    Nameplates nameplates() const { return Nameplates(link_); }
    Director director() const { return Director(link_); }
    CheckIn checkIn() const { return CheckIn(link_); }
    Minutes minutes() const { return Minutes(link_); }
    LargeModel largeModel() const { return LargeModel(link_); }
    Assistant assistant() const { return Assistant(link_); }

    // Tells the service the device's lock state.
    Result lockState(int state) {
        return link_ != nullptr ? link_->Keep(detail::Step::LOCK, "lock state",
                                              [state] { return Result::Of(OrviAiLockStateChange(state)); })
                                : Result(Error::NO_OBJECT);
    }

    // Creates a detector, which stands still. End it before its connection.
    Answer<Detector> detector(const DetectorOptions& options, Detector::Handler handler) {
        if (!handler || link_ == nullptr) {
            return {Result(handler ? Error::NO_OBJECT : Error::NO_HANDLER)};
        }
        if (!detail::Hub::Get().IsOwn()) {
            return {Result(Error::OTHER_PROCESS)};
        }
        auto self = std::make_shared<Detector::Self>();
        self->options = options;
        self->link = link_;
        self->slot = std::make_shared<detail::Slot<FaceEvent>>(std::move(handler), link_->QueueFor(options.where));
        if (!detail::Hub::Get().Claim(self->slot)) {
            return {Result(Error::ALREADY)};
        }
        const Result created = self->Create();
        if (!created) {
            detail::Hub::Get().Release(self->slot);
            return {created};
        }
        Detector detector;
        detector.self_ = self;
        if (link_->keeps) {
            link_->kept.push_back({detail::Step::DETECTOR, "detector", [weak = std::weak_ptr<Detector::Self>(self)] {
                                       const auto own = weak.lock();
                                       return own != nullptr ? own->Again() : Result(Error::NO_OBJECT);
                                   }});
        }
        return {created, std::move(detector)};
    }

 private:
    // Sets up again before the handler is told.
    static Handler Wrap(const std::shared_ptr<detail::Link>& link, Handler handler) {
        if (!link->keeps) {
            return handler;
        }
        return [weak = std::weak_ptr<detail::Link>(link), told = std::move(handler)](const Event& event) {
            const auto own = weak.lock();
            if (event.id != ORVI_AI_EVENT_SERVICE_START || own == nullptr || !own->isOpen) {
                told(event);
                return;
            }
            Event withOutcome = event;
            withOutcome.restored = own->Again();
            told(withOutcome);
        };
    }

    Result Open(std::string_view appId, std::shared_ptr<detail::QueueState> queue, Handler handler, AtStart atStart) {
        if (!handler) {
            return Result(Error::NO_HANDLER);
        }
        if (link_ != nullptr) {
            return Result(Error::ALREADY);
        }
        if (!detail::Hub::Get().IsOwn() || (queue != nullptr && queue->IsForeign())) {
            return Result(Error::OTHER_PROCESS);
        }
        auto link = std::make_shared<detail::Link>();
        const Result named = setText(link->identity.appId, appId);
        if (!named) {
            return named;
        }
        link->queue = std::move(queue);
        link->keeps = atStart == AtStart::SET_UP_AGAIN;
        link->isOpen = true;
        link->main = std::make_shared<detail::Slot<Event>>(Wrap(link, std::move(handler)), link->queue);
        if (!detail::Hub::Get().Claim(link->main)) {
            return Result(Error::ALREADY);
        }
        link_ = std::move(link);
        return link_->Announce();
    }

    std::shared_ptr<detail::Link> link_;
};

}  // namespace orvi

#endif
