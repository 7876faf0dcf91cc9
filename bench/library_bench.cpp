// What calls and messages cost over the workstation's bus: a service process that answers at once, and this process
// as its client.
#include <benchmark/benchmark.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_host_bus.h"
#include "orvi_om_log_client.h"

using OrviAiService::AiSrvServiceProxy;

namespace {

int Answer(TagMsgBlock* message) {
    const uint8_t verdict = 0;
    if (OrviHostMsgWantsReply(message) != 0) {
        (void)OrviHostMsgReply(message, &verdict, sizeof(verdict));
    }
    return 0;
}

// The service of the benchmark; tells over `ready` that it can be reached and ends with its parent.
[[noreturn]] void Serve(int ready) {
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    const bool reachable = OsMsgInit("AI_VISION") == 0 && OsMsgRegTask("ai_v_task_i", 64, Answer) == 0 &&
                           OsMsgRegTask("ai_v_task_m", 64, Answer) == 0;
    const char told = reachable ? 'y' : 'n';
    if (write(ready, &told, 1) != 1 || !reachable) {
        _exit(1);
    }
    (void)OsMsgTaskRoutineByName("ai_v_task_i");
    _exit(0);
}

// A request of the library: payload, bus, service, reply, release.
void Request(benchmark::State& state) {
    std::vector<uint8_t> payload(static_cast<size_t>(state.range(0)), 1);
    for (auto _ : state) {
        TagMsgBlock* reply = nullptr;
        if (AiSrvServiceProxy::GetInstance().SendSynMsgToVision(
                0x600014, payload.data(), static_cast<uint32_t>(payload.size()), 3000, &reply) != 0) {
            state.SkipWithError("the request failed");
            return;
        }
        (void)OsMsgSynRespFree(reply);
    }
}
BENCHMARK(Request)->Arg(36)->Arg(4692)->Arg(20880)->Arg(1 << 20)->UseRealTime();
BENCHMARK(Request)->Arg(36)->Threads(8)->UseRealTime();

void OneWayMessage(benchmark::State& state) {
    std::vector<uint8_t> payload(static_cast<size_t>(state.range(0)), 1);
    for (auto _ : state) {
        if (AiSrvServiceProxy::GetInstance().SendAsynMsgToVision(0x600001, payload.data(),
                                                                 static_cast<uint32_t>(payload.size())) != 0) {
            state.SkipWithError("the message was refused");
            return;
        }
    }
}
BENCHMARK(OneWayMessage)->Arg(36)->Arg(20880)->UseRealTime();

// From the bus's call of the handler to the application's callback and back.
void EventDispatch(benchmark::State& state) {
    uint8_t payload[64] = {};
    TagMsgBlock block = {};
    block.msgId = 0x60002D;
    block.data = payload;
    block.dataLen = sizeof(payload);
    AiSrvServiceProxy::gOrviAiVisionCallBackFun = [](OrviAiEventId, void* data) { benchmark::DoNotOptimize(data); };
    for (auto _ : state) {
        benchmark::DoNotOptimize(AiSrvServiceProxy::AiVisionProxyMsgHandler(&block));
    }
}
BENCHMARK(EventDispatch);

// A log record that the level filters out, as nearly all are on a workstation.
void FilteredLogRecord(benchmark::State& state) {
    for (auto _ : state) {
        OrviOmLogModuleLogRecord(3, 1, "orvi-bench", 10, __LINE__, "a record %d", 42);
    }
}
BENCHMARK(FilteredLogRecord);

}  // namespace

int main(int argc, char** argv) {
    char directory[] = "/tmp/orvi-bench-XXXXXX";
    int ready[2];
    if (mkdtemp(directory) == nullptr || pipe(ready) != 0) {
        perror("orvi-bench");
        return 1;
    }
    (void)setenv("ORVI_BUS_DIR", directory, 1);
    (void)setenv("ORVI_LOG_LEVEL", "error", 1);
    const pid_t service = fork();
    if (service == 0) {
        Serve(ready[1]);
    }
    char told = 'n';
    int result = 1;
    if (service > 0 && read(ready[0], &told, 1) == 1 && told == 'y' && OsMsgInit("orvi-bench") == 0) {
        benchmark::Initialize(&argc, argv);
        result = benchmark::ReportUnrecognizedArguments(argc, argv) ? 1 : 0;
        if (result == 0) {
            (void)benchmark::RunSpecifiedBenchmarks();
        }
    } else {
        fprintf(stderr, "orvi-bench: the service process did not start\n");
    }
    if (service > 0) {
        (void)kill(service, SIGKILL);
        (void)waitpid(service, nullptr, 0);
    }
    std::error_code ignored;
    (void)std::filesystem::remove_all(directory, ignored);
    return result;
}
