#include "view/view.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "directions/vocabulary.h"
#include "directions/words.h"
#include "log.h"
#include "service/process_end.h"
#include "value.h"
#include "view/http.h"
#include "view/page.h"

namespace orvi_sim {
namespace {

using orvi_protocol::JsonString;

constexpr int64_t FEED_EVERY_MS = 50;
constexpr size_t MOST_IN_A_FEED = 100;
constexpr int64_t PATIENCE_MS = 10000;      // for a request that does not end, a response that is not taken
constexpr size_t SHARE_OF_DESCRIPTORS = 4;  // the pages have one of so many, applications the others
// The port and the key of a service that starts again: its pages go on.
constexpr char PLACE[] = "ORVI_VISION_SIM_VIEW";
constexpr char JSON[] = "application/json";
constexpr char TEXT[] = "text/plain; charset=utf-8";

int64_t NowMs() {
    using std::chrono::duration_cast;
    return duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// 128 bits that nobody guesses.
std::string RandomKey() {
    unsigned char bytes[16];
    if (getrandom(bytes, sizeof(bytes), 0) != static_cast<ssize_t>(sizeof(bytes))) {
        return {};
    }
    return ToHex(Payload(std::begin(bytes), std::end(bytes)));
}

std::string List(const std::vector<std::string>& items) {
    std::string text = "[";
    for (const std::string& item : items) {
        text += (text.size() > 1 ? "," : "") + item;
    }
    return text + "]";
}

const char* TypeWord(Type type) {
    static const char* const WORDS[] = {"name",   "number", "number-or", "time", "clock", "message",
                                        "choice", "file",   "words",     "text", "flag"};
    return WORDS[static_cast<size_t>(type)];
}

std::string ParameterJson(const Parameter& parameter) {
    std::string json = "{\"name\":" + JsonString(parameter.name) + ",\"type\":\"" + TypeWord(parameter.type) + "\"";
    json += parameter.isOptional ? ",\"optional\":true" : "";
    json += parameter.isNeeded ? ",\"needed\":true" : "";
    if (parameter.type == Type::Number || parameter.type == Type::NumberOr) {
        json += ",\"least\":" + std::to_string(parameter.least) + ",\"most\":" + std::to_string(parameter.most);
    }
    return json + "}";
}

std::vector<std::string> ParametersJson(const std::vector<Parameter>& parameters) {
    std::vector<std::string> list;
    list.reserve(parameters.size());
    for (const Parameter& parameter : parameters) {
        list.push_back(ParameterJson(parameter));
    }
    return list;
}

}  // namespace

// One connection of a browser.
struct View::Page {
    // One that ends has been told all, and what it still says is read: a connection that is closed before loses the answer.
    enum class Life { Asks, WaitsForWork, IsAnswered, IsFed, Ends };

    int socket = -1;
    Life life = Life::Asks;
    int64_t sinceMs = 0;  // when it last got further
    HttpReader reader;
    HttpRequest request;
    std::string out;           // what the socket has not taken yet
    void (*then)() = nullptr;  // when that has been sent
    std::shared_ptr<Work> work;
    bool isFresh = true;  // it has been told nothing yet
    uint64_t fed = 0;     // the number of the last happening that it was told
    std::string state;    // that it was told last
    int64_t fedMs = 0;

    Page() = default;
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;
    ~Page() { (void)close(socket); }
};

// A direction that is performed on a thread of its own.
struct View::Work {
    std::thread thread;
    std::string line;
    Directions::Answer answer{};
    bool isDone = false;  // guarded by mutex_, like its place in the list
};

View::View(Stage& stage, const Directions& directions, const std::vector<Feature*>& features, const Checkin& checkin)
    : stage_(stage), directions_(directions), features_(features), checkin_(checkin) {}

View::~View() {
    Stop();
}

bool View::Start(uint16_t port, std::string& error) {
    key_ = RandomKey();
    if (const std::string place = LeftByLast(PLACE); !place.empty()) {
        port = static_cast<uint16_t>(std::strtoul(place.c_str(), nullptr, 10));
        key_ = place.substr(place.find(' ') + 1);
    }
    rlimit descriptors{};
    if (getrlimit(RLIMIT_NOFILE, &descriptors) == 0) {
        const rlim_t share = std::max<rlim_t>(descriptors.rlim_cur / SHARE_OF_DESCRIPTORS, 1);
        mostConnections_ = static_cast<size_t>(std::min<rlim_t>(share, MOST_CONNECTIONS));
    }
    wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    socklen_t size = sizeof(address);
    const int reuse = 1;
    if (key_.empty() || wake_ < 0 || listener_ < 0 ||
        setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof(reuse)) != 0 ||
        bind(listener_, reinterpret_cast<const sockaddr*>(&address), size) != 0 || listen(listener_, SOMAXCONN) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        error = "the page cannot be served at port " + std::to_string(port) + ": " + std::strerror(errno);
        return false;
    }
    const std::string number = std::to_string(ntohs(address.sin_port));
    authority_ = "127.0.0.1:" + number;
    byName_ = "localhost:" + number;
    address_ = "http://" + authority_ + "/" + key_ + "/";
    LeaveForNext(PLACE, number + " " + key_);
    {
        const Stage::Lock lock = stage_.Enter();
        stage_.SetOnlooker(&history_);
    }
    thread_ = std::thread([this] { Run(); });
    return true;
}

void View::Stop() {
    if (isStopped_) {
        return;
    }
    isStopped_ = true;
    {
        const Stage::Lock lock = stage_.Enter();
        stage_.SetOnlooker(nullptr);
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
    }
    if (thread_.joinable()) {
        (void)eventfd_write(wake_, 1);
        thread_.join();
    }
    // Who waited for a direction is told how it ended; what would follow it does not any more.
    for (const std::shared_ptr<Work>& work : work_) {
        work->thread.join();
        work->answer.then = nullptr;
    }
    CollectWork();
    for (Page& page : pages_) {
        page.then = nullptr;
        (void)Send(page);
    }
    pages_.clear();
    for (const int descriptor : {listener_, wake_}) {
        if (descriptor >= 0) {
            (void)close(descriptor);
        }
    }
}

void View::Run() {
    for (;;) {
        // One that has a claim to stay: it looks on, or waits for its direction.
        const auto held = std::count_if(pages_.begin(), pages_.end(), [](const Page& page) {
            return page.life == Page::Life::IsFed || page.life == Page::Life::WaitsForWork;
        });
        const bool hasRoom = static_cast<size_t>(held) < mostConnections_;
        std::vector<pollfd> watched = {{listener_, static_cast<short>(hasRoom ? POLLIN : 0), 0}, {wake_, POLLIN, 0}};
        bool isAnyFed = false;
        for (const Page& page : pages_) {
            watched.push_back({page.socket, static_cast<short>(page.out.empty() ? POLLIN : POLLIN | POLLOUT), 0});
            isAnyFed = isAnyFed || page.life == Page::Life::IsFed;
        }
        const int limit = isAnyFed ? static_cast<int>(FEED_EVERY_MS) : pages_.empty() ? -1 : 1000;
        if (poll(watched.data(), watched.size(), limit) < 0 && errno != EINTR) {
            (void)poll(nullptr, 0, static_cast<int>(FEED_EVERY_MS));  // the system is short of memory
            continue;
        }
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (isEnding_) {
                return;
            }
        }
        try {
            eventfd_t ignored = 0;
            (void)eventfd_read(wake_, &ignored);
            CollectWork();
            const int64_t now = NowMs();
            size_t at = 2;
            for (auto page = pages_.begin(); page != pages_.end(); ++at) {
                Page& one = *page++;
                bool stays = true;
                try {
                    if ((watched[at].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
                        stays = false;
                    } else if ((watched[at].revents & POLLIN) != 0) {
                        Receive(one);
                    }
                    if (stays && one.life == Page::Life::IsFed && one.out.empty()) {
                        Feed(one, now);
                    }
                    stays = stays && one.socket >= 0 && Send(one);
                } catch (const std::exception& exception) {
                    Log("a page was closed: %s", exception.what());
                    stays = false;
                }
                const bool isPatient = one.life == Page::Life::WaitsForWork ||
                                       (one.life == Page::Life::IsFed && one.out.empty()) ||
                                       now - one.sinceMs < PATIENCE_MS;
                if (!stays || !isPatient) {
                    pages_.remove_if([&one](const Page& other) { return &other == &one; });
                }
            }
            if (watched[0].revents != 0) {
                Accept();
            }
        } catch (const std::exception& exception) {
            Log("the page is not served: %s", exception.what());
        }
    }
}

// Whoever connects and asks nothing keeps no page away: the oldest such connection goes. False when all have to stay.
bool View::MakeRoom() {
    if (pages_.size() < mostConnections_) {
        return true;
    }
    const auto idle = std::find_if(pages_.begin(), pages_.end(), [](const Page& page) {
        return page.life != Page::Life::IsFed && page.life != Page::Life::WaitsForWork && page.then == nullptr;
    });
    if (idle == pages_.end()) {
        return false;
    }
    pages_.erase(idle);
    return true;
}

void View::Accept() {
    if (!MakeRoom()) {
        return;
    }
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket < 0) {
        if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) {
            (void)poll(nullptr, 0, static_cast<int>(FEED_EVERY_MS));
        }
        return;
    }
    try {
        pages_.emplace_back();
    } catch (...) {
        (void)close(socket);
        throw;
    }
    pages_.back().socket = socket;
    // A page that is behind is to be told what is new, and not to wait for what is old.
    const int queue = 128 << 10;
    (void)setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &queue, sizeof(queue));
    pages_.back().sinceMs = NowMs();
}

void View::Receive(Page& page) {
    char bytes[4096];
    const ssize_t size = recv(page.socket, bytes, sizeof(bytes), 0);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (size <= 0) {
        (void)close(std::exchange(page.socket, -1));
        return;
    }
    if (page.life != Page::Life::Asks) {
        return;  // one request a connection: what follows is read and left
    }
    switch (page.reader.Read(bytes, static_cast<size_t>(size))) {
        case HttpReader::State::More:
            return;
        case HttpReader::State::Wrong:
            page.life = Page::Life::IsAnswered;
            page.out = HttpResponse(400, TEXT,
                                    "error this is no request of a page, or longer than " +
                                        std::to_string(HttpReader::LONGEST_BODY) + " bytes\n");
            return;
        case HttpReader::State::Whole:
            page.request = page.reader.Take();
            page.life = Page::Life::IsAnswered;
            page.sinceMs = NowMs();
            Respond(page);
    }
}

// Which site a browser acts for is what it says in Host and Origin: a name of another site that leads here, or a page of
// another that sends something here, is turned away. Whoever does not know the key learns nothing.
void View::Respond(Page& page) {
    const HttpRequest& request = page.request;
    const std::string prefix = "/" + key_ + "/";
    const bool isOwnHost = request.host == authority_ || request.host == byName_;
    if (!isOwnHost || !(request.origin.empty() || request.origin == "http://" + request.host)) {
        page.out = HttpResponse(403, TEXT, "this page is not for other sites\n");
    } else if (request.path.compare(0, prefix.size(), prefix) != 0) {
        page.out = HttpResponse(404, TEXT, "there is nothing here; the service has told the page's whole address\n");
    } else {
        page.out = Route(page, request.path.substr(prefix.size()));
    }
}

std::string View::Route(Page& page, const std::string& name) {
    const HttpRequest& request = page.request;
    if (name == "direction") {
        if (request.method != "POST") {
            return HttpResponse(405, TEXT, "a direction is posted\n");
        }
        Perform(page, request.body);
        return std::move(page.out);
    }
    if (request.method != "GET") {
        return HttpResponse(405, TEXT, "this is only got\n");
    }
    if (const PageFile* const file = FindPageFile(name)) {
        return HttpResponse(200, file->type, file->content);
    }
    if (name == "vocabulary") {
        return HttpResponse(200, JSON, Vocabulary());
    }
    if (name == "state") {
        return HttpResponse(200, JSON, State());
    }
    if (name == "photo") {
        std::string user;
        Payload photo;
        if (Unescape(request.query, user)) {
            const Stage::Lock lock = stage_.Enter();
            photo = checkin_.GetAttendance().Photo(user);
        }
        const std::string content(photo.begin(), photo.end());
        const bool isPng = content.rfind("\x89PNG", 0) == 0;
        return content.empty() ? HttpResponse(404, TEXT, "nobody of this id has come\n")
                               : HttpResponse(200, isPng ? "image/png" : "image/jpeg", content);
    }
    if (name == "events") {
        const auto fed =
            std::count_if(pages_.begin(), pages_.end(), [](const Page& one) { return one.life == Page::Life::IsFed; });
        if (static_cast<size_t>(fed) >= MostFed()) {
            return HttpResponse(503, TEXT, "so many pages look on already\n");
        }
        page.life = Page::Life::IsFed;
        return EventStreamHead();
    }
    return HttpResponse(404, TEXT, "the page has no " + orvi_protocol::Printable(name) + "\n");
}

void View::Perform(Page& page, const std::string& line) {
    if (line.find_first_of(std::string("\0\n\r", 3)) != std::string::npos || line.empty()) {
        page.out = HttpResponse(400, TEXT, "error a direction is one line\n");
        return;
    }
    if (directions_.IsOnStage(line)) {
        const Directions::Answer answer = directions_.Perform(line);
        page.out = HttpResponse(200, TEXT, answer.text);
        page.then = answer.then;
        return;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (work_.size() >= MOST_DIRECTIONS) {
        page.out = HttpResponse(503, TEXT, "error so many directions wait already\n");
        return;
    }
    auto work = std::make_shared<Work>();
    work->line = line;
    work_.push_back(work);
    try {
        work->thread = std::thread([this, work] {
            Directions::Answer answer = directions_.Perform(work->line);
            const std::lock_guard<std::mutex> done(mutex_);
            work->answer = std::move(answer);
            work->isDone = true;
            (void)eventfd_write(wake_, 1);
        });
    } catch (...) {
        work_.pop_back();
        throw;
    }
    page.work = work;
    page.life = Page::Life::WaitsForWork;
}

void View::CollectWork() {
    std::list<std::shared_ptr<Work>> done;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (auto work = work_.begin(); work != work_.end();) {
            const auto next = std::next(work);
            if ((*work)->isDone) {
                done.splice(done.end(), work_, work);
            }
            work = next;
        }
    }
    for (const std::shared_ptr<Work>& work : done) {
        if (work->thread.joinable()) {
            work->thread.join();
        }
        const auto page =
            std::find_if(pages_.begin(), pages_.end(), [&work](const Page& one) { return one.work == work; });
        if (page != pages_.end()) {
            page->life = Page::Life::IsAnswered;
            page->sinceMs = NowMs();
            page->out = HttpResponse(200, TEXT, work->answer.text);
            page->then = work->answer.then;
        } else if (work->answer.then != nullptr) {
            work->answer.then();
        }
    }
}

// One server-sent event: what has happened since the last one, and the state where it is another.
void View::Feed(Page& page, int64_t nowMs) {
    if (nowMs - page.fedMs < FEED_EVERY_MS) {
        return;
    }
    page.fedMs = nowMs;
    std::string state = State();
    const uint64_t last = history_.Last();
    if (last == page.fed && state == page.state) {
        return;
    }
    const std::vector<Happening> happenings = history_.Behind(page.fed, MOST_IN_A_FEED);
    std::vector<std::string> list;
    list.reserve(happenings.size());
    for (const Happening& one : happenings) {
        list.push_back(ToJson(one));
    }
    const uint64_t upTo = happenings.empty() ? last : happenings.back().number;
    const uint64_t merged = page.isFresh ? 0 : upTo - page.fed - happenings.size();  // what was before it is not missed
    page.isFresh = false;
    page.out += "data: {\"happenings\":" + List(list) + ",\"merged\":" + std::to_string(merged);
    if (state != page.state) {
        page.out += ",\"state\":" + state;
        page.state = std::move(state);
    }
    page.out += "}\n\n";
    page.fed = upTo;
    page.sinceMs = nowMs;
}

// False when the connection is over.
bool View::Send(Page& page) {
    while (!page.out.empty()) {
        const ssize_t sent = send(page.socket, page.out.data(), page.out.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            return errno == EAGAIN || errno == EINTR || errno == ENOBUFS || errno == ENOMEM;
        }
        page.out.erase(0, static_cast<size_t>(sent));
        page.sinceMs = NowMs();
    }
    if (page.life != Page::Life::IsAnswered) {
        return true;
    }
    (void)shutdown(page.socket, SHUT_WR);
    page.life = Page::Life::Ends;
    if (page.then != nullptr) {
        std::exchange(page.then, nullptr)();
    }
    return true;
}

// Taken on the stage, made into JSON off it.
std::string View::State() const {
    std::string words;
    std::string pace;
    std::vector<std::string> applications;
    std::vector<Attendance::Person> people;
    std::chrono::milliseconds now{};
    uint32_t timeOfDay = 0;
    {
        const Stage::Lock lock = const_cast<Stage&>(stage_).Enter();
        for (const Feature* feature : features_) {
            const std::string part = feature->Describe();
            words += (words.empty() || part.empty() ? "" : " ") + part;
        }
        for (const auto& [application, known] : stage_.GetApplications().List()) {
            const MailCounts counts = stage_.GetApplications().GetMail().Counts(application);
            applications.push_back("{\"name\":" + JsonString(application.process) +
                                   ",\"announced\":" + (known.isAnnounced ? "true" : "false") +
                                   ",\"lost\":" + std::to_string(counts.overflowed + counts.failed) + "}");
        }
        people = checkin_.GetAttendance().People();
        pace = stage_.GetTimer().Pace();
        now = stage_.SinceStart();
        timeOfDay = stage_.TimeOfDay();
    }
    std::vector<std::string> persons;
    persons.reserve(people.size());
    for (const Attendance::Person& one : people) {
        persons.push_back("{\"id\":" + JsonString(one.userId) + ",\"name\":" + JsonString(one.name) + ",\"invited\":" +
                          (one.isInvited ? "true" : "false") + ",\"present\":" + (one.isPresent ? "true" : "false") +
                          ",\"time\":" + std::to_string(one.checkinTime) + "}");
    }
    return "{\"words\":" + JsonString(words) + ",\"pace\":" + JsonString(pace) +
           ",\"seconds\":" + std::to_string(now.count() / 1000) + ",\"timeOfDay\":" + std::to_string(timeOfDay) +
           ",\"applications\":" + List(applications) + ",\"people\":" + List(persons) + "}";
}

std::string View::Vocabulary() const {
    std::vector<std::string> rows;
    rows.reserve(orvi_sim::Vocabulary().size());
    for (const Row& row : orvi_sim::Vocabulary()) {
        rows.push_back("{\"name\":" + JsonString(row.name) + ",\"help\":" + JsonString(row.help) +
                       ",\"parameters\":" + List(ParametersJson(row.parameters)) +
                       ",\"options\":" + List(ParametersJson(row.options)) + "}");
    }
    return List(rows);
}

}  // namespace orvi_sim
