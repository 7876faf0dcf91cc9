#include "peer.h"

namespace bench {

void (*volatile g_onEvent)(const void* event) = [](const void*) {};

}  // namespace bench
