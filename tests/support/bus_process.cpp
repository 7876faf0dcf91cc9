// A process on the bus with one task: bus_process NAME TASK. Prints "running" once its task can be reached and ends with
// its input.
#include <cstdio>
#include <thread>
#include <unistd.h>

#include "orvi_host_bus.h"

namespace {

int Ignore(TagMsgBlock*) {
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 || OsMsgInit(argv[1]) != 0 || OsMsgRegTask(argv[2], 64, Ignore) != 0) {
        std::fputs("bus_process: cannot join the bus\n", stderr);
        return 1;
    }
    std::thread loop([&] { OsMsgTaskRoutineByName(argv[2]); });
    std::puts("running");
    std::fflush(stdout);
    char byte;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    OrviHostMsgStopRoutine(argv[2]);
    loop.join();
    return 0;
}
