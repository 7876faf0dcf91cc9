// orvi-bench-applications: many threads and many applications at once, what an idle one takes, and how soon a new one has
// its first answer.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <linux/futex.h>
#include <nlohmann/json.hpp>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "orvi_ai_srv.h"
#include "peers/peer.h"

namespace bench {
extern const Peer kLibrary;
}

namespace {

using bench::Check;

constexpr uint32_t kMostApplications = 1000;
constexpr uint32_t kEventsOfARound = 64;

double NowUs() {
    timespec now = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
}

double MedianOf(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// A number that one process sets and others wait for.
struct Signal {
    std::atomic<uint32_t> value{0};

    void Await(uint32_t least) {
        for (uint32_t now = value; now < least; now = value) {
            (void)syscall(SYS_futex, &value, FUTEX_WAIT, now, nullptr, nullptr, 0);
        }
    }
    void Add() {
        ++value;
        (void)syscall(SYS_futex, &value, FUTEX_WAKE, INT32_MAX, nullptr, nullptr, 0);
    }
};

struct Shared {
    Signal ready;
    Signal go;
    Signal done;
    std::atomic<uint32_t> failed{0};
    struct {
        uint64_t calls;
        double medianUs;
    } of[kMostApplications];
};

Shared* NewShared() {
    void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Check(memory != MAP_FAILED, "mmap");
    return new (memory) Shared;
}

pid_t Fork(const std::function<void()>& run) {
    const pid_t process = fork();
    Check(process >= 0, "fork");
    if (process == 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            run();
        } catch (const std::exception& failure) {
            (void)fprintf(stderr, "orvi-bench-applications: %s\n", failure.what());
            _exit(1);
        }
        _exit(0);
    }
    return process;
}

void Kill(const std::vector<pid_t>& processes) {
    for (const pid_t process : processes) {
        (void)kill(process, SIGKILL);
    }
    for (const pid_t process : processes) {
        (void)waitpid(process, nullptr, 0);
    }
}

// A bus directory with the service of the comparison.
class Room {
 public:
    Room() {
        rlimit files = {};
        if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
            files.rlim_cur = files.rlim_max;
            (void)setrlimit(RLIMIT_NOFILE, &files);
        }
        Check(mkdtemp(directory_) != nullptr, "mkdtemp");
        (void)setenv("ORVI_BUS_DIR", directory_, 1);
        Shared* const shared = NewShared();
        service_ = Fork([this, shared] { bench::kLibrary.serve({directory_}, [shared] { shared->ready.Add(); }); });
        shared->ready.Await(1);
        (void)munmap(shared, sizeof(Shared));
    }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;
    ~Room() {
        Kill({service_});
        std::error_code ignored;
        (void)std::filesystem::remove_all(directory_, ignored);
    }

 private:
    char directory_[16] = "/tmp/oa-XXXXXX";
    pid_t service_ = -1;
};

void Join(OrviAiMainCallback callback = [](OrviAiEventId, void*) {}) {
    tagOrviAppInfo application = {};
    std::snprintf(application.appId, sizeof(application.appId), "bench");
    Check(OrviAiSrvApiInit(application, callback) == 0, "OrviAiSrvApiInit");
}

// Asks as often as it can until `endUs`; the median of its waits.
double AskUntil(double endUs, uint64_t* calls) {
    std::vector<double> us;
    us.reserve(1U << 16);
    double last = NowUs();
    while (last < endUs) {
        Check(OrviAiSrvCaptionStop() == 0, "OrviAiSrvCaptionStop");
        const double now = NowUs();
        us.push_back(now - last);
        last = now;
    }
    *calls = us.size();
    return MedianOf(us);
}

// How `count` askers of the same right fared in `seconds`.
nlohmann::ordered_json Fairness(const Shared& shared, uint32_t count, double seconds) {
    uint64_t calls = 0;
    std::vector<double> medians;
    for (uint32_t i = 0; i < count; ++i) {
        calls += shared.of[i].calls;
        medians.push_back(shared.of[i].medianUs);
    }
    const double share = seconds * 1e6 * count / static_cast<double>(std::max<uint64_t>(calls, 1));
    const auto over = std::count_if(medians.begin(), medians.end(), [&](double median) { return median > 2 * share; });
    return {{"at once", count},
            {"calls a second", static_cast<double>(calls) / seconds},
            {"fair share us", share},
            {"median of medians us", MedianOf(medians)},
            {"worst median us", *std::max_element(medians.begin(), medians.end())},
            {"over twice the share", over}};
}

nlohmann::ordered_json Threads(uint32_t count, double seconds) {
    Room room;
    Shared* const shared = NewShared();
    const pid_t application = Fork([&] {
        Join();
        std::vector<std::thread> threads;
        const double end = NowUs() + seconds * 1e6;
        for (uint32_t i = 0; i < count; ++i) {
            threads.emplace_back([&, i] { shared->of[i].medianUs = AskUntil(end, &shared->of[i].calls); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    int status = 0;
    Check(waitpid(application, &status, 0) == application && status == 0, "the application with the threads failed");
    nlohmann::ordered_json result = Fairness(*shared, count, seconds);
    (void)munmap(shared, sizeof(Shared));
    return result;
}

// Starts the applications one after the other and returns when each has joined.
std::vector<pid_t> Start(uint32_t count, Shared* shared, const std::function<void(uint32_t)>& run) {
    std::vector<pid_t> applications;
    for (uint32_t i = 0; i < count; ++i) {
        applications.push_back(Fork([&, i] {
            try {
                run(i);
            } catch (const std::exception&) {
                ++shared->failed;
                shared->ready.Add();
                shared->done.Add();
                throw;
            }
        }));
        shared->ready.Await(i + 1);
    }
    Check(shared->failed == 0, "an application failed");
    return applications;
}

nlohmann::ordered_json Applications(uint32_t count, double seconds) {
    Room room;
    Shared* const shared = NewShared();
    const std::vector<pid_t> applications = Start(count, shared, [=](uint32_t i) {
        Join();
        Check(OrviAiSrvCaptionStop() == 0, "OrviAiSrvCaptionStop");
        shared->ready.Add();
        shared->go.Await(1);
        shared->of[i].medianUs = AskUntil(NowUs() + seconds * 1e6, &shared->of[i].calls);
        shared->done.Add();
    });
    shared->go.Add();
    shared->done.Await(count);
    Kill(applications);
    Check(shared->failed == 0, "an application failed");
    nlohmann::ordered_json result = Fairness(*shared, count, seconds);
    (void)munmap(shared, sizeof(Shared));
    return result;
}

// Each of `count` applications gets each event; the time from the request for them until the last has its last one.
nlohmann::ordered_json EventsTo(uint32_t count, uint32_t rounds) {
    static Shared* shared;
    static uint32_t came;
    Room room;
    shared = NewShared();
    const std::vector<pid_t> applications = Start(count, shared, [](uint32_t) {
        Join();
        void* detector = nullptr;
        Check(OrviAiSrvCreateFaceDetector(&detector, 0, 30, 0,
                                          [](tagOrviAiSrvFaceDetEvent*) {
                                              if (++came % kEventsOfARound == 0) {
                                                  shared->done.Add();
                                              }
                                          }) == 0,
              "OrviAiSrvCreateFaceDetector");
        shared->ready.Add();
        for (;;) {
            (void)pause();
        }
    });
    const pid_t asker = Fork([&] {
        Join();
        void* detector = nullptr;  // it hears the events as well
        Check(OrviAiSrvCreateFaceDetector(&detector, 0, 30, 0, [](tagOrviAiSrvFaceDetEvent*) {}) == 0,
              "OrviAiSrvCreateFaceDetector");
        shared->ready.Add();
        for (uint32_t round = 1;; ++round) {
            shared->go.Await(round);
            Check(OrviAiAssistantWakeUp(static_cast<OrviAiAssistantRunningMode>(kEventsOfARound)) == 0,
                  "OrviAiAssistantWakeUp");
        }
    });
    shared->ready.Await(count + 1);
    std::vector<double> us;
    for (uint32_t round = 1; round <= rounds; ++round) {
        const double begin = NowUs();
        shared->go.Add();
        shared->done.Await(round * count);
        us.push_back((NowUs() - begin) / kEventsOfARound);
    }
    Kill(applications);
    Kill({asker});
    (void)munmap(shared, sizeof(Shared));
    const double each = MedianOf(us);
    return {{"applications", count}, {"us for an event to all", each}, {"us for one delivery", each / count}};
}

// --- Programs of their own: started, not forked, so that what they take is theirs ---

int Idle() {
    Join();
    Check(OrviAiSrvCaptionStop() == 0, "OrviAiSrvCaptionStop");
    (void)puts("ready");
    (void)fflush(stdout);
    for (;;) {
        (void)pause();
    }
}

int FirstReply(double mainUs) {
    Join();
    Check(OrviAiSrvCaptionStop() == 0, "OrviAiSrvCaptionStop");
    (void)printf("%.1f\n", NowUs() - mainUs);
    return 0;
}

// Runs a program up to its first line, which is returned; the process is given to `look` before it is killed.
std::string FirstLine(const std::string& program, const char* argument, const std::function<void(pid_t)>& look) {
    int out[2];
    Check(pipe(out) == 0, "pipe");
    const pid_t process = fork();
    Check(process >= 0, "fork");
    if (process == 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        (void)dup2(out[1], STDOUT_FILENO);
        (void)execl(program.c_str(), program.c_str(), argument, nullptr);
        _exit(127);
    }
    (void)close(out[1]);
    std::string line;
    char c = 0;
    while (read(out[0], &c, 1) == 1 && c != '\n') {
        line += c;
    }
    (void)close(out[0]);
    look(process);
    Kill({process});
    Check(!line.empty(), "a program said nothing");
    return line;
}

// KiB that are the process's alone.
double PrivateKiB(pid_t process) {
    FILE* const file = fopen(("/proc/" + std::to_string(process) + "/smaps_rollup").c_str(), "re");
    Check(file != nullptr, "smaps_rollup");
    double sum = 0;
    char line[256];
    while (fgets(line, sizeof(line), file) != nullptr) {
        unsigned long kib = 0;
        if (sscanf(line, "Private_Clean: %lu", &kib) == 1 || sscanf(line, "Private_Dirty: %lu", &kib) == 1) {
            sum += static_cast<double>(kib);
        }
    }
    (void)fclose(file);
    return sum;
}

nlohmann::ordered_json IdleMemory(const std::string& self) {
    Room room;
    double with = 0;
    double without = 0;
    (void)FirstLine(self, "--idle", [&](pid_t process) { with = PrivateKiB(process); });
    (void)FirstLine(std::filesystem::path(self).parent_path() / "orvi-bench-nothing", nullptr,
                    [&](pid_t process) { without = PrivateKiB(process); });
    return {{"private KiB", with}, {"without the library", without}, {"difference", with - without}};
}

nlohmann::ordered_json TimeToFirstReply(const std::string& self) {
    Room room;
    std::vector<double> fromMain;
    std::vector<double> fromStart;
    for (int i = 0; i < 21; ++i) {
        const double begin = NowUs();
        const std::string us = FirstLine(self, "--first-reply", [&](pid_t) { fromStart.push_back(NowUs() - begin); });
        fromMain.push_back(std::strtod(us.c_str(), nullptr));
    }
    return {{"from main us", MedianOf(fromMain)}, {"from the start of the process us", MedianOf(fromStart)}};
}

std::string Text(const nlohmann::ordered_json& results, bool markdown) {
    std::string text = markdown ? "| measured | |\n|---|---|\n" : "";
    for (const auto& [part, values] : results.items()) {
        text += (markdown ? "| " : "") + part + (markdown ? " |" : ":");
        std::string between = " ";
        for (const auto& [name, value] : values.items()) {
            char number[64];
            (void)snprintf(number, sizeof(number), value.is_number_integer() ? "%.0f" : "%.1f", value.get<double>());
            text += between + name + " " + number;
            between = ", ";
        }
        text += markdown ? " |\n" : "\n";
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    const double mainUs = NowUs();
    if (argc == 2 && std::string(argv[1]) == "--first-reply") {
        return FirstReply(mainUs);
    }
    if (argc == 2 && std::string(argv[1]) == "--idle") {
        return Idle();
    }
    CLI::App app{"Measures many threads and applications at once, an idle application and a new one.",
                 "orvi-bench-applications"};
    double seconds = 3;
    uint32_t many = kMostApplications;
    std::string json;
    std::string markdown;
    app.add_option("--seconds", seconds, "how long they ask at once")
        ->check(CLI::Range(0.1, 60.0))
        ->capture_default_str();
    app.add_option("--many", many, "applications of the largest crowd")
        ->check(CLI::Range(1U, kMostApplications))
        ->capture_default_str();
    app.add_option("--json", json, "write the results as JSON to a file");
    app.add_option("--markdown", markdown, "write the table for a page to a file");
    CLI11_PARSE(app, argc, argv);
    (void)setenv("ORVI_LOG_LEVEL", "error", 1);
    (void)setenv("ORVI_BUS_LOG", "0", 1);  // a crowd has more members than a user may have inotify watches
    try {
        const std::string self = std::filesystem::read_symlink("/proc/self/exe");
        nlohmann::ordered_json results;
        results["threads"] = Threads(8, seconds);
        results["64 applications"] = Applications(64, seconds);
        results["many applications"] = Applications(many, seconds);
        results["events"] = EventsTo(64, 50);
        results["idle application"] = IdleMemory(self);
        results["first reply"] = TimeToFirstReply(self);
        (void)fputs(Text(results, false).c_str(), stdout);
        for (const auto& [path, text] : {std::pair{json, results.dump(2) + "\n"}, {markdown, Text(results, true)}}) {
            FILE* const file = path.empty() ? nullptr : fopen(path.c_str(), "we");
            Check(path.empty() || (file != nullptr && fputs(text.c_str(), file) >= 0 && fclose(file) == 0),
                  "a file cannot be written");
        }
    } catch (const std::exception& failure) {
        (void)fprintf(stderr, "orvi-bench-applications: %s\n", failure.what());
        return 1;
    }
    return 0;
}
