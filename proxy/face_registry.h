// The face callbacks by video source: application threads change it, the message thread calls through it.
#ifndef ORVI_PROXY_FACE_REGISTRY_H
#define ORVI_PROXY_FACE_REGISTRY_H

#include "orvi_ai_srv.h"

namespace OrviAiService {

// In a forked child these functions touch nothing: the registry is as another thread may have left it in mid-change.

// Stores the callback of a source, replacing the one it had; a null one takes the events and drops them. Returns once
// the replaced callback no longer runs, unless the calling thread is inside a callback itself. False, with nothing
// changed, when there is no memory, the process is exiting or it is a forked child.
bool StoreFaceCallback(int sourceId, OrviAiSrvFaceCallback callback);

// Removes the callback of a source, if it has one; returns when it no longer runs, with the same exception.
void EraseFaceCallback(int sourceId);

// Calls the callback of a source, outside the lock. False when it has none.
bool CallFaceCallback(int sourceId, tagOrviAiSrvFaceDetEvent* event);

// From now on the end of the process closes the dispatch, before it destroys the application's static objects that exist
// already: a callback that begins later would find them gone.
void CloseDispatchAtExit();

// True once the process is exiting, and in a forked child: no message is delivered from then on.
bool DispatchClosed() noexcept;

}  // namespace OrviAiService

#endif
