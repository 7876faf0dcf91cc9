// Every request that the service answers: one table a feature, in the feature's file. To answer one more request,
// write its handler and its row in the file of its feature; for a new feature add a table below.
#ifndef ORVI_SIM_REQUEST_TABLES_H
#define ORVI_SIM_REQUEST_TABLES_H

#include "request.h"

namespace orvi_sim {

RequestTable ConnectionRequests();  // features/connection.cpp
RequestTable FaceRequests();        // features/face.cpp
RequestTable CaptionRequests();     // features/captions.cpp
RequestTable NameplateRequests();   // features/nameplate.cpp
RequestTable DirectorRequests();    // features/director.cpp
RequestTable CheckinRequests();     // features/checkin.cpp
RequestTable MinutesRequests();     // features/minutes.cpp
RequestTable LargeModelRequests();  // features/large_model.cpp
RequestTable AssistantRequests();   // features/assistant.cpp

const RequestRow* FindRequest(uint32_t id);  // null when no table has it

}  // namespace orvi_sim

#endif
