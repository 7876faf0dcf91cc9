// The face callbacks by video source: application threads change it, the message thread calls through it.
#ifndef ORVI_PROXY_FACE_REGISTRY_H
#define ORVI_PROXY_FACE_REGISTRY_H

#include "orvi_ai_srv.h"

namespace OrviAiService {

// Stores the callback of a source, replacing the one it had. Returns once the replaced callback no longer runs,
// unless the calling thread is inside a callback itself. False, with nothing changed, when there is no memory or
// the process is exiting.
bool StoreFaceCallback(int sourceId, OrviAiSrvFaceCallback callback);

// Removes the callback of a source, if it has one; returns when it no longer runs, with the same exception.
void EraseFaceCallback(int sourceId);

// Calls the callback of a source, outside the lock. False when it has none.
bool CallFaceCallback(int sourceId, tagOrviAiSrvFaceDetEvent* event);

// True once the process is exiting: no message is delivered from then on.
bool DispatchClosed() noexcept;

}  // namespace OrviAiService

#endif
