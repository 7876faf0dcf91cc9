// The first three descriptors of a program, which a caller may have closed.
#ifndef ORVI_TOOLS_STANDARD_STREAMS_H
#define ORVI_TOOLS_STANDARD_STREAMS_H

#include <fcntl.h>
#include <unistd.h>

namespace orvi_tools {

// Takes the place of a closed one, before a socket or a file does and is written to as if it were the output. What is
// written there fails, as before; an input is empty. Call it first.
inline void FillStandardStreams() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            (void)open("/dev/null", O_RDONLY);  // gets the lowest number that is free
        }
    }
}

}  // namespace orvi_tools

#endif
