// The service of the load test: load_service LEDGER. Counts each message in the ledger and answers requests with their
// own payload. Prints "running" once it can be reached; ends with its input.
#include <cstdio>
#include <cstring>
#include <thread>
#include <unistd.h>

#include "load_ledger.h"
#include "orvi_host_bus.h"

namespace {

orvi_test::LoadLedger* g_ledger = nullptr;

int Count(TagMsgBlock* message) {
    static uint32_t latest[orvi_test::LOAD_THREADS] = {};
    orvi_test::LoadNumber sent{};
    if (message->dataLen != sizeof(sent)) {
        return 0;
    }
    std::memcpy(&sent, message->data, sizeof(sent));
    if (sent.number <= latest[sent.thread]) {
        ++g_ledger->disorder;
    }
    latest[sent.thread] = sent.number;
    ++g_ledger->arrived[sent.thread][sent.number];
    if (OrviHostMsgWantsReply(message) != 0) {
        (void)OrviHostMsgReply(message, &sent, sizeof(sent));
    }
    return 0;
}

int Ignore(TagMsgBlock*) {
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    g_ledger = argc == 2 ? orvi_test::LoadLedger::Map(argv[1]) : nullptr;
    if (g_ledger == nullptr || OsMsgInit("AI_VISION") != 0 || OsMsgRegTask("ai_v_task_i", 64, Count) != 0 ||
        OsMsgRegTask("ai_v_task_m", 64, Ignore) != 0) {
        std::fputs("load_service: cannot start\n", stderr);
        return 1;
    }
    std::thread loop([] { (void)OsMsgTaskRoutineByName("ai_v_task_i"); });
    std::thread master([] { (void)OsMsgTaskRoutineByName("ai_v_task_m"); });
    std::puts("running");
    std::fflush(stdout);
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    (void)OrviHostMsgStopRoutine("ai_v_task_i");
    (void)OrviHostMsgStopRoutine("ai_v_task_m");
    loop.join();
    master.join();
    return 0;
}
