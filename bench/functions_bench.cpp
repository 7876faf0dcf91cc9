// orvi-bench-functions: what each exported function costs by itself, on a bus that takes and answers at once. Needs no
// package, so that it also measures the other ABIs.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "allocations.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_os_thread.h"
#include "requests.h"

namespace {
uint8_t g_reply[4] = {};
TagMsgBlock g_replyBlock;
}  // namespace

// In the place of the workstation's platform.
uint32_t OsGetUId() {
    return 0;  // of the events' sender
}
int OsMsgAsynSend(TagMsgBlock* /*message*/) {
    return 0;
}
int OsMsgSynSend(TagMsgBlock* /*message*/, TagMsgBlock** reply, uint32_t /*waitMs*/) {
    g_replyBlock.data = g_reply;
    g_replyBlock.dataLen = sizeof(g_reply);
    *reply = &g_replyBlock;
    return 0;
}
int OsMsgSynRespFree(TagMsgBlock* /*reply*/) {
    return 0;
}

namespace {

using OrviAiService::AiSrvServiceProxy;

constexpr int kRounds = 9;
constexpr double kRoundNs = 5e6;

double NowNs() {
    timespec now = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

int FaceEvent() {
    static uint8_t payload[288];
    static TagMsgBlock block = [] {
        TagMsgBlock filled = {};
        filled.msgId = 0x60000C;
        filled.data = payload;
        filled.dataLen = sizeof(payload);
        return filled;
    }();
    return AiSrvServiceProxy::AiVisionProxyMsgHandler(&block);
}

struct Cost {
    double ns;  // of the fastest round, in which nothing else ran
    double allocations;
};

Cost Measure(int (*call)()) {
    static std::atomic<uint64_t> allocations;
    Cost cost = {1e18, 0};
    for (int round = 0; round < kRounds; ++round) {
        uint64_t calls = 0;
        allocations = 0;
        bench::g_allocations = &allocations;
        const double begin = NowNs();
        double end = begin;
        while (end - begin < kRoundNs) {
            for (int i = 0; i < 100; ++i) {
                if (call() != 0) {
                    return {-1, 0};
                }
            }
            calls += 100;
            end = NowNs();
        }
        bench::g_allocations = nullptr;
        cost.ns = std::min(cost.ns, (end - begin) / static_cast<double>(calls));
        cost.allocations = static_cast<double>(allocations) / static_cast<double>(calls);
    }
    return cost;
}

bool Print(FILE* file, bool markdown, const char* name, const Cost& cost) {
    return fprintf(file, markdown ? "| `%s` | %.0f | %.0f |\n" : "%-40s %8.0f ns %4.0f allocations\n", name, cost.ns,
                   cost.allocations) > 0;
}

}  // namespace

int main(int argc, char** argv) {
    const bool toFile = argc == 3 && std::strcmp(argv[1], "--markdown") == 0;
    if (argc != 1 && !toFile) {
        (void)fprintf(stderr, "usage: orvi-bench-functions [--markdown FILE]\n");
        return 2;
    }
    (void)setenv("ORVI_LOG_LEVEL", "none", 1);  // one function writes a line of its highest level on each call
    AiSrvServiceProxy::GetInstance().isInited = true;
    static int events = 0;
    void* detector = nullptr;
    if (OrviAiSrvCreateFaceDetector(&detector, 0, 30, 0, [](tagOrviAiSrvFaceDetEvent*) { ++events; }) != 0) {
        return 1;
    }
    FILE* const file = toFile ? fopen(argv[2], "we") : nullptr;
    if (toFile && (file == nullptr || fputs("| function | ns | allocations |\n|---|---|---|\n", file) < 0)) {
        perror(argv[2]);
        return 1;
    }
    std::vector<std::pair<const char*, int (*)()>> calls = {{"a face event to its callback", FaceEvent}};
    for (const Request& request : REQUESTS) {
        calls.emplace_back(request.name, request.call);
    }
    bool good = true;
    for (const auto& [name, call] : calls) {
        const Cost cost = Measure(call);
        if (cost.ns < 0) {
            (void)fprintf(stderr, "orvi-bench-functions: %s failed\n", name);
            good = false;
            continue;
        }
        good = Print(stdout, false, name, cost) && (file == nullptr || Print(file, true, name, cost)) && good;
    }
    good = events > 0 && (file == nullptr || fclose(file) == 0) && good;
    return good ? 0 : 1;
}
