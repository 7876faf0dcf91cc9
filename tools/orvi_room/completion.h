// The script that completes directions, their words and their messages in bash.
#ifndef ORVI_ROOM_COMPLETION_H
#define ORVI_ROOM_COMPLETION_H

#include <string>

namespace orvi_room {

std::string BashCompletion();

}  // namespace orvi_room

#endif
