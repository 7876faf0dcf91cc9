// The scripts of all functions together, and the callbacks.
#include "orvi/test/fake.hpp"

#include <algorithm>
#include <cstring>

#include "callbacks.h"

namespace orvi::test::fake {
namespace {

// Never destroyed: a thread of the code under test may call until the process has ended.
struct Scripts {
    std::mutex mutex;
    std::vector<detail::AnyScript*> all;
};

Scripts& AllScripts() {
    static auto* const scripts = new Scripts;
    return *scripts;
}

template <class Callback>
Callback Required(Callback callback, const char* whence) {
    if (callback == nullptr) {
        throw std::logic_error(std::string("no callback to run: there was no successful ") + whence);
    }
    return callback;
}

}  // namespace

void detail::AnyScript::Register() {
    LinkFunctions();
    Scripts& scripts = AllScripts();
    const std::lock_guard<std::mutex> lock(scripts.mutex);
    scripts.all.push_back(this);
}

void reset() {
    std::vector<detail::AnyScript*> all;
    {
        Scripts& scripts = AllScripts();
        const std::lock_guard<std::mutex> lock(scripts.mutex);
        all = scripts.all;
    }
    for (detail::AnyScript* const script : all) {
        script->reset();
    }
    Callbacks::Get().Reset();
}

void fire(OrviAiEventId event, void* payload) {
    Callbacks::Get().Main()(event, payload);
}

void fire_status(OrviAiStatusType type, int32_t status) {
    tagOrviAiServiceStatusEvent payload{type, status};
    fire(ORVI_AI_EVENT_STATUS, &payload);
}

void fire_caption(OrviAiCaptionEventId event, void* payload) {
    Callbacks::Get().Caption()(event, payload);
}

void fire_face(tagOrviAiSrvFaceDetEvent event) {
    Callbacks::Get().Face(event.sourceId)(&event);
}

int fill_photos(tagOrviAiSrvPhotoResult* result, const std::vector<Photo>& photos) {
    const size_t count = photos.size();
    result->photoNums = static_cast<int32_t>(count);
    result->photoList = static_cast<tagOrviAiSrvPhotoInfo*>(::operator new[](count * sizeof(tagOrviAiSrvPhotoInfo)));
    for (size_t i = 0; i < count; ++i) {
        const std::vector<uint8_t>& image = photos[i].image;
        auto* const copy = static_cast<uint8_t*>(::operator new[](image.size()));
        std::copy(image.begin(), image.end(), copy);
        result->photoList[i] = {photos[i].faceId, 0, static_cast<uint32_t>(image.size()), copy};
    }
    return 0;
}

Callbacks& Callbacks::Get() {
    static auto* const callbacks = new Callbacks;
    return *callbacks;
}

void Callbacks::SetMain(OrviAiMainCallback callback) {
    const std::lock_guard<std::mutex> lock(mutex_);
    main_ = main_ != nullptr ? main_ : callback;
}

void Callbacks::SetCaption(OrviAiCaptionCallback callback) {
    const std::lock_guard<std::mutex> lock(mutex_);
    caption_ = callback != nullptr ? callback : caption_;
}

void* Callbacks::AddDetector(int source, OrviAiSrvFaceCallback callback, void* handle) {
    static char handles[1U << 16];  // only their addresses count
    const std::lock_guard<std::mutex> lock(mutex_);
    if (handle == nullptr) {
        nextHandle_ = nextHandle_ == nullptr || nextHandle_ == handles + sizeof(handles) ? handles : nextHandle_;
        handle = nextHandle_++;
    }
    faces_[source] = callback;
    sources_[handle] = source;
    return handle;
}

void Callbacks::RemoveDetector(void* handle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (const auto found = sources_.find(handle); found != sources_.end()) {
        faces_.erase(found->second);
        sources_.erase(found);
    }
}

OrviAiMainCallback Callbacks::Main() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Required(main_, "OrviAiSrvApiInit");
}

OrviAiCaptionCallback Callbacks::Caption() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Required(caption_, "OrviAiSrvCaptionInit");
}

OrviAiSrvFaceCallback Callbacks::Face(int source) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = faces_.find(source);
    return Required(found != faces_.end() ? found->second : nullptr, "OrviAiSrvCreateFaceDetector on this source");
}

void Callbacks::Reset() {
    const std::lock_guard<std::mutex> lock(mutex_);
    main_ = nullptr;
    caption_ = nullptr;
    faces_.clear();
    sources_.clear();
}

}  // namespace orvi::test::fake
