// The callbacks that the code under test has handed in, for the test to run.
#ifndef ORVI_FAKE_CALLBACKS_H
#define ORVI_FAKE_CALLBACKS_H

#include <map>
#include <mutex>
#include <stdexcept>

#include "orvi_ai_srv.h"

namespace orvi::test::fake {

class Callbacks {
 public:
    static Callbacks& Get();

    void SetMain(OrviAiMainCallback callback);  // the first one stays, as in the library
    void SetCaption(OrviAiCaptionCallback callback);
    // Its handle: that of a script, or else one of its own.
    void* AddDetector(int source, OrviAiSrvFaceCallback callback, void* handle);
    void RemoveDetector(void* handle);  // and the callback of its source

    // Each throws std::logic_error when there is none.
    OrviAiMainCallback Main() const;
    OrviAiCaptionCallback Caption() const;
    OrviAiSrvFaceCallback Face(int source) const;

    void Reset();

 private:
    mutable std::mutex mutex_;  // guards what follows; not held while a callback runs
    OrviAiMainCallback main_ = nullptr;
    OrviAiCaptionCallback caption_ = nullptr;
    std::map<int, OrviAiSrvFaceCallback> faces_;  // by source
    std::map<void*, int> sources_;                // of the detectors
    char* nextHandle_ = nullptr;
};

// Does nothing, beside the functions: who calls it has these linked as well, before a client library that stands on the
// linker's line too, as it does when the code under test names it.
void LinkFunctions();

}  // namespace orvi::test::fake

#endif
