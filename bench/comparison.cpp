#include "comparison.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "pair.h"

namespace bench {

namespace {

double MedianOf(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// What has been measured so far of one cell.
struct Series {
    std::vector<double> ratios, medians, clientCpu, serviceCpu, allocations;
    std::vector<double> all;

    void Add(const Turn& turn, double median, double raw) {
        medians.push_back(median);
        if (raw > 0) {
            ratios.push_back(median / raw);
        }
        clientCpu.push_back(turn.clientCpuUs);
        serviceCpu.push_back(turn.serviceCpuUs);
        allocations.push_back(turn.allocations);
        all.insert(all.end(), turn.us.begin(), turn.us.end());
    }
    void Tell(Cell* cell) const {
        if (medians.empty()) {
            return;
        }
        std::vector<double> sorted = all;
        const auto at = sorted.begin() + static_cast<ptrdiff_t>(sorted.size() * 99 / 100);
        std::nth_element(sorted.begin(), at, sorted.end());
        *cell = {true,
                 MedianOf(ratios),
                 MedianOf(medians),
                 *at,
                 MedianOf(clientCpu),
                 MedianOf(serviceCpu),
                 MedianOf(allocations)};
    }
};

// Microseconds that the machine's processors were not idle, since its start; counted in ticks of 10 ms.
double MachineBusyUs() {
    unsigned long long user = 0, nice = 0, system = 0, idle = 0, wait = 0, irq = 0, softIrq = 0, steal = 0;
    FILE* const file = fopen("/proc/stat", "re");
    if (file != nullptr) {
        (void)fscanf(file, "cpu %llu %llu %llu %llu %llu %llu %llu %llu", &user, &nice, &system, &idle, &wait, &irq,
                     &softIrq, &steal);
        (void)fclose(file);
    }
    return static_cast<double>(user + nice + system + irq + softIrq + steal) * 1e6 /
           static_cast<double>(sysconf(_SC_CLK_TCK));
}

double NowUs() {
    timespec now = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
}

// Runs iceoryx's daemon for as long as this lives.
class Router {
 public:
    explicit Router(const std::string& log) {
        int out[2];
        if (pipe(out) != 0) {
            return;
        }
        process_ = fork();
        if (process_ == 0) {
            (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
            (void)dup2(out[1], STDOUT_FILENO);
            (void)dup2(open(log.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
            (void)close(out[0]);
            (void)execlp("iox-roudi", "iox-roudi", nullptr);
            _exit(127);
        }
        (void)close(out[1]);
        output_ = out[0];
        // It says that it is ready for clients.
        char text[4096];
        std::string said;
        ssize_t got = 0;
        while (!started_ && (got = read(output_, text, sizeof(text))) > 0) {
            said.append(text, static_cast<size_t>(got));
            started_ = said.find("ready for clients") != std::string::npos;
        }
    }
    Router(const Router&) = delete;
    Router& operator=(const Router&) = delete;
    ~Router() {
        if (process_ > 0) {
            (void)kill(process_, SIGTERM);
            (void)waitpid(process_, nullptr, 0);
        }
        (void)close(output_);
    }
    bool started() const { return started_; }

 private:
    pid_t process_ = -1;
    int output_ = -1;
    bool started_ = false;
};

// A killed participant of iceoryx leaves files beside our directory, named after it.
void RemoveLocks(std::string directory) {
    std::replace(directory.begin(), directory.end(), '/', '_');
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/tmp", ignored)) {
        if (entry.path().filename().string().compare(0, directory.size(), directory) == 0) {
            (void)std::filesystem::remove(entry.path(), ignored);
        }
    }
}

struct Entrant {
    const Peer* peer;
    std::unique_ptr<Pair> pairs[kPlacementCount];
    std::vector<Series> series = std::vector<Series>(kShapeCount * kPlacementCount);
    bool isRaw = false;
};

bool Wanted(const Options& options, const std::string& name) {
    return options.only.empty() || name == "SEQPACKET" ||
           std::find(options.only.begin(), options.only.end(), name) != options.only.end();
}

// One turn for each, in an order that moves on from round to round.
void RunSlot(std::vector<Entrant>* entrants, uint32_t shape, uint32_t placement, uint32_t first, uint32_t ms,
             std::vector<Turn>* turns) {
    for (size_t i = 0; i < entrants->size(); ++i) {
        const size_t at = (i + first) % entrants->size();
        Pair& pair = *(*entrants)[at].pairs[placement];
        const bool failedBefore = !pair.error().empty();
        if (!pair.Take(kShapes[shape], ms, &(*turns)[at])) {
            (*turns)[at].us.clear();
            if (!failedBefore) {
                (void)fprintf(stderr, "%s, %s: %s\n", (*entrants)[at].peer->name, kPlacements[placement].name,
                              pair.error().c_str());
            }
        }
    }
}

}  // namespace

Results Compare(const Options& options) {
    Results results;
    results.leftOut = PeersLeftOut();
    char directory[] = "/tmp/ob-XXXXXX";
    if (mkdtemp(directory) == nullptr) {
        perror("mkdtemp");
        return results;
    }
    const auto leaveOut = [&](const std::string& name, const std::string& why) {
        (void)fprintf(stderr, "%s is left out: %s\n", name.c_str(), why.c_str());
        results.leftOut += (results.leftOut.empty() ? "" : ", ") + name;
    };
    {
        std::unique_ptr<Router> router;
        std::vector<Entrant> entrants;
        uint32_t number = 0;
        for (const Peer& peer : Peers()) {
            if (!Wanted(options, peer.name)) {
                continue;
            }
            if (peer.needsRouter) {
                router = std::make_unique<Router>(std::string(directory) + "/router.log");
                if (!router->started()) {
                    leaveOut(peer.name, "iox-roudi cannot be started");
                    continue;
                }
            }
            Entrant entrant;
            entrant.peer = &peer;
            entrant.isRaw = std::string(peer.name) == "SEQPACKET";
            std::string error;
            for (uint32_t i = 0; i < kPlacementCount && error.empty(); ++i) {
                entrant.pairs[i] = std::make_unique<Pair>(peer, kPlacements[i],
                                                          std::string(directory) + "/" + std::to_string(number++));
                error = entrant.pairs[i]->error();
            }
            if (error.empty()) {
                entrants.push_back(std::move(entrant));
            } else {
                leaveOut(peer.name, error);
            }
        }
        std::vector<Turn> turns(entrants.size());
        const double processors = static_cast<double>(sysconf(_SC_NPROCESSORS_ONLN));
        for (uint32_t round = 0; round < options.rounds; ++round) {
            for (uint32_t slot = 0; slot < kShapeCount * kPlacementCount; ++slot) {
                const uint32_t placement = slot / kShapeCount;
                const uint32_t shape = slot % kShapeCount;
                double others = 2;  // none has been done yet
                for (int attempt = 0; attempt < 3 && others > options.othersShare; ++attempt) {
                    results.thrownAway += attempt > 0 ? 1 : 0;
                    const auto own = [&] {
                        double us = ProcessCpuUs(getpid());
                        for (const Entrant& entrant : entrants) {
                            us += entrant.pairs[placement]->CpuUs();
                        }
                        return us;
                    };
                    const double busy = MachineBusyUs() - own();
                    const double begin = NowUs();
                    RunSlot(&entrants, shape, placement, round, options.turnMs, &turns);
                    others = (MachineBusyUs() - own() - busy) / ((NowUs() - begin) * processors);
                }
                ++results.slots;
                results.disturbed += others > options.othersShare ? 1 : 0;
                std::vector<double> medians(entrants.size());
                double raw = 0;
                for (size_t i = 0; i < entrants.size(); ++i) {
                    medians[i] = MedianOf({turns[i].us.begin(), turns[i].us.end()});
                    raw = entrants[i].isRaw ? medians[i] : raw;
                }
                for (size_t i = 0; i < entrants.size(); ++i) {
                    if (!turns[i].us.empty()) {
                        entrants[i].series[slot].Add(turns[i], medians[i], raw);
                    }
                }
            }
            (void)fprintf(stderr, "\rround %u of %u", round + 1, options.rounds);
        }
        (void)fprintf(stderr, "\n");
        results.cells.resize(entrants.size() * kShapeCount * kPlacementCount);
        for (size_t i = 0; i < entrants.size(); ++i) {
            results.peers.emplace_back(entrants[i].peer->name);
            for (uint32_t slot = 0; slot < kShapeCount * kPlacementCount; ++slot) {
                entrants[i].series[slot].Tell(&results.At(i, slot % kShapeCount, slot / kShapeCount));
            }
        }
    }
    std::error_code ignored;
    (void)std::filesystem::remove_all(directory, ignored);
    RemoveLocks(directory);
    return results;
}

}  // namespace bench
