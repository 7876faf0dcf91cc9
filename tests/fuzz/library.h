// The library on the recording platform, initialised, with something to release of every kind.
#ifndef ORVI_FUZZ_LIBRARY_H
#define ORVI_FUZZ_LIBRARY_H

#include "fake_platform.h"
#include "orvi_ai_srv.h"
#include "target.h"

namespace orvi_fuzz {

inline FakePlatform& Platform() {
    FakePlatform& platform = FakePlatform::Get();
    static const bool isReady = [] { return OrviAiSrvApiInit(tagOrviAppInfo{}, [](OrviAiEventId, void*) {}) == 0; }();
    Require(isReady, "the library is initialised");
    return platform;
}

}  // namespace orvi_fuzz

#endif
