#include "pair.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <poll.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "allocations.h"

namespace bench {

namespace {

double NowUs() {
    timespec now = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
}

double ClockUs(clockid_t clock) {
    timespec used = {};
    (void)clock_gettime(clock, &used);
    return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) * 1e-3;
}

// A turn that takes so much longer than told has come to a halt.
constexpr int kMostSilenceMs = 5000;

struct TurnOrder {
    uint32_t shape;
    uint32_t ms;
};

struct TurnHead {
    uint32_t samples;
    double clientCpuUs, serviceCpuUs, allocations;
};

bool WriteAll(int file, const void* bytes, size_t size) {
    const auto* at = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t written = write(file, at, size);
        if (written <= 0) {
            return false;
        }
        at += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

bool ReadAll(int file, void* bytes, size_t size) {
    auto* at = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t got = read(file, at, size);
        if (got <= 0) {
            return false;
        }
        at += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

void Compute(double us) {
    const double end = NowUs() + us;
    while (NowUs() < end) {
    }
}

void Once(Client* client, const Shape& shape) {
    switch (shape.kind) {
        case Kind::kRequest:
            client->Request(shape.size, shape.replySize);
            break;
        case Kind::kOneWay:
            client->Send(shape.size, shape.burst);
            break;
        case Kind::kEvents:
            client->Events(shape.burst);
            break;
    }
}

}  // namespace

struct Pair::Shared {
    std::atomic<uint64_t> ofClient{0};
    std::atomic<uint64_t> ofService{0};
};

bool RunOn(int processor) {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof(allowed), &allowed) != 0) {
        return false;
    }
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &allowed) && processor-- == 0) {
            CPU_ZERO(&allowed);
            CPU_SET(cpu, &allowed);
            return sched_setaffinity(0, sizeof(allowed), &allowed) == 0;
        }
    }
    return false;
}

double ProcessCpuUs(pid_t process) {
    clockid_t clock = 0;
    return clock_getcpuclockid(process, &clock) == 0 ? ClockUs(clock) : 0;
}

Pair::Pair(const Peer& peer, const Placement& placement, const std::string& directory) : place_{directory} {
    std::filesystem::create_directory(directory);
    std::filesystem::permissions(directory, std::filesystem::perms::owner_all);
    void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    int ready[2];
    int orders[2];
    int results[2];
    if (memory == MAP_FAILED || pipe(ready) != 0 || pipe(orders) != 0 || pipe(results) != 0) {
        error_ = "the system refuses pipes or memory";
        return;
    }
    shared_ = new (memory) Shared;
    service_ = fork();
    if (service_ == 0) {
        (void)close(ready[0]);
        (void)close(orders[1]);
        RunService(peer, placement, ready[1]);
    }
    (void)close(ready[1]);
    char told = 0;
    if (service_ < 0 || !ReadAll(ready[0], &told, 1)) {
        error_ = "its service did not start";
    } else {
        client_ = fork();
        if (client_ == 0) {
            (void)close(orders[1]);
            (void)close(results[0]);
            RunClient(peer, placement, orders[0], results[1]);
        }
    }
    (void)close(ready[0]);
    (void)close(orders[0]);
    (void)close(results[1]);
    orders_ = orders[1];
    results_ = results[0];
    if (error_.empty() && (client_ < 0 || !ReadAll(results_, &told, 1))) {
        error_ = "its client did not start";
    }
}

Pair::~Pair() {
    for (const pid_t process : {service_, client_}) {  // so that the service is not told of a lost client
        if (process > 0) {
            (void)kill(process, SIGKILL);
            (void)waitpid(process, nullptr, 0);
        }
    }
    for (const int file : {orders_, results_}) {
        if (file >= 0) {
            (void)close(file);
        }
    }
    if (shared_ != nullptr) {
        (void)munmap(shared_, sizeof(Shared));
    }
    std::error_code ignored;
    (void)std::filesystem::remove_all(place_.directory, ignored);
}

double Pair::CpuUs() const {
    return ProcessCpuUs(client_) + ProcessCpuUs(service_);
}

void Pair::RunService(const Peer& peer, const Placement& placement, int ready) {
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    g_allocations = &shared_->ofService;
    try {
        Check(placement.service == kAnyProcessor || RunOn(placement.service), "there is no such processor");
        peer.serve(place_, [ready] { (void)WriteAll(ready, "y", 1); });
    } catch (const std::exception& failure) {
        (void)fprintf(stderr, "%s, service, %s: %s\n", peer.name, placement.name, failure.what());
    }
    _exit(1);
}

void Pair::RunClient(const Peer& peer, const Placement& placement, int orders, int results) {
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    g_allocations = &shared_->ofClient;
    try {
        Check(placement.client == kAnyProcessor || RunOn(placement.client), "there is no such processor");
        const std::unique_ptr<Client> client = peer.connect(place_);
        Check(WriteAll(results, "y", 1), "nobody listens");
        std::vector<float> us;
        us.reserve(1U << 20);
        TurnOrder order{};
        while (ReadAll(orders, &order, sizeof(order))) {
            const Shape& shape = kShapes[order.shape];
            us.clear();
            for (int i = 0; i < 3; ++i) {  // back to where memory and processor know the way
                Once(client.get(), shape);
            }
            const double cpu = ClockUs(CLOCK_PROCESS_CPUTIME_ID);
            const double serviceCpu = ProcessCpuUs(service_);
            const uint64_t allocations = shared_->ofClient + shared_->ofService;
            const double begin = NowUs();
            double last = begin;
            while ((last - begin < order.ms * 1e3 || us.size() < 8) && us.size() < us.capacity()) {
                if (shape.otherUs != 0) {
                    Compute(shape.otherUs);
                    last = NowUs();
                }
                Once(client.get(), shape);
                const double now = NowUs();
                us.push_back(static_cast<float>((now - last) / shape.burst));
                last = now;
            }
            const auto calls = static_cast<double>(us.size());
            const double messages = calls * shape.burst;
            TurnHead head{};
            head.samples = static_cast<uint32_t>(us.size());
            head.clientCpuUs = (ClockUs(CLOCK_PROCESS_CPUTIME_ID) - cpu - calls * shape.otherUs) / messages;
            head.serviceCpuUs = (ProcessCpuUs(service_) - serviceCpu) / messages;
            head.allocations = static_cast<double>(shared_->ofClient + shared_->ofService - allocations) / messages;
            Check(WriteAll(results, &head, sizeof(head)) && WriteAll(results, us.data(), us.size() * sizeof(float)),
                  "nobody listens");
        }
    } catch (const std::exception& failure) {
        (void)fprintf(stderr, "%s, client, %s: %s\n", peer.name, placement.name, failure.what());
    }
    _exit(1);
}

bool Pair::Take(const Shape& shape, uint32_t ms, Turn* turn) {
    const TurnOrder order = {static_cast<uint32_t>(&shape - kShapes), ms};
    TurnHead head{};
    if (!error_.empty()) {
        return false;
    }
    pollfd result = {results_, POLLIN, 0};
    if (!WriteAll(orders_, &order, sizeof(order)) ||
        poll(&result, 1, static_cast<int>(10 * ms) + kMostSilenceMs) != 1 || !ReadAll(results_, &head, sizeof(head))) {
        error_ = std::string("it does not come to an end with ") + shape.name;
        return false;
    }
    turn->us.resize(head.samples);
    turn->clientCpuUs = head.clientCpuUs;
    turn->serviceCpuUs = head.serviceCpuUs;
    turn->allocations = head.allocations;
    return ReadAll(results_, turn->us.data(), head.samples * sizeof(float));
}

}  // namespace bench
