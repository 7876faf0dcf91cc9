// A simulated room for the C++ tests of an application, whatever their framework:
//
//   orvi::test::Room room{"tea.jsonl"};                       // a service of its own, on a bus of its own
//   room.person_enters("Ada Lovelace");
//   ...                                                       // the application starts captions
//   room.expect("caption.start").with("report", 1).within(2s);
//
// What fails is thrown as orvi::test::Failure, with the service's own words. Without a framework main() catches it.
//
// A process has one place on one message bus, and the application under test needs it. The room therefore speaks to the
// service through orvi-room, a process of its own, and the application may run in the test's process or in another. For
// the same reason a process can have one room with a service of its own: it names its bus in ORVI_BUS_DIR, which the
// library reads once. Run each test in its own process, as ctest and gtest_discover_tests do.
//
// Programs are looked for in $ORVI_TEST_PROGRAMS, which orvi-test-run sets, then in the folder that the CMake package
// gives, then in $PATH. C++17, header only, without a library of its own. Calls of several threads follow one another.
#ifndef ORVI_TEST_ROOM_HPP
#define ORVI_TEST_ROOM_HPP

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

namespace orvi::test {

// What is not as the test says, or cannot be done, in the words of the service or of orvi-room.
class Failure : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// What a direction was answered.
struct Answer {
    enum Code { DONE = 0, REFUSED = 1, WRONG_WORDS = 2, NOBODY = 3 };

    Code code = NOBODY;
    std::string text;

    explicit operator bool() const { return code == DONE; }
};

namespace detail {

// A word of a line as the service takes lines apart: in quotes, so that it may hold anything but a line's end.
inline std::string Quoted(const std::string& word) {
    if (word.find_first_of(std::string("\n\0", 2)) != std::string::npos) {
        throw Failure("a word of a direction has no line's end and no NUL in it: " + word);
    }
    std::string quoted = "\"";
    for (const char c : word) {
        quoted += c == '"' || c == '\\' ? "\\" : "";
        quoted += c;
    }
    return quoted + '"';
}

template <class Value>
std::string Text(const Value& value) {
    if constexpr (std::is_same_v<Value, bool>) {
        return value ? "1" : "0";
    } else if constexpr (std::is_arithmetic_v<Value>) {
        return std::to_string(value);
    } else {
        return std::string(value);
    }
}

inline std::string Milliseconds(std::chrono::milliseconds time) {
    return std::to_string(time.count()) + "ms";
}

inline std::string Program(const std::string& name) {
    if (const char* const folder = std::getenv("ORVI_TEST_PROGRAMS"); folder != nullptr && *folder != '\0') {
        return std::string(folder) + "/" + name;
    }
#ifdef ORVI_TEST_PROGRAMS
    return std::string(ORVI_TEST_PROGRAMS "/") + name;
#else
    return name;
#endif
}

// A program with a socket for its input and its output, which is its life line as well.
class Peer {
 public:
    explicit Peer(std::vector<std::string> words) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw Failure("no socket for the room: " + std::generic_category().message(errno));
        }
        ours_ = ends[0];
        std::vector<char*> argv;
        argv.reserve(words.size() + 1);
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        const int result = posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        if (result != 0) {
            close(ours_);
            throw Failure(words[0] + " cannot be run: " + std::generic_category().message(result));
        }
    }
    ~Peer() { (void)End(); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // The end of its input; returns its exit code, or 128 + the signal that ended it.
    int End() {
        if (pid_ > 0) {
            close(ours_);
            int status = 0;
            while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
            }
            pid_ = -1;
            result_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        return result_;
    }

    // False when it has ended.
    bool Write(const std::string& text) const {
        for (std::size_t at = 0; at < text.size();) {
            const ssize_t count = send(ours_, text.data() + at, text.size() - at, MSG_NOSIGNAL);
            if (count < 0 && errno != EINTR) {
                return false;
            }
            at += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
        return true;
    }

    bool ReadLine(std::string& line) {
        for (;;) {
            const std::size_t end = unread_.find('\n');
            if (end != std::string::npos) {
                line = unread_.substr(0, end);
                unread_.erase(0, end + 1);
                return true;
            }
            if (!ReadMore()) {
                return false;
            }
        }
    }

    bool ReadBytes(std::size_t size, std::string& bytes) {
        while (unread_.size() < size) {
            if (!ReadMore()) {
                return false;
            }
        }
        bytes = unread_.substr(0, size);
        unread_.erase(0, size);
        return true;
    }

 private:
    bool ReadMore() {
        char text[4096];
        ssize_t count = 0;
        while ((count = recv(ours_, text, sizeof(text), 0)) < 0 && errno == EINTR) {
        }
        if (count > 0) {
            unread_.append(text, static_cast<std::size_t>(count));
        }
        return count > 0;
    }

    pid_t pid_ = -1;
    int ours_ = -1;
    int result_ = 0;
    std::string unread_;
};

}  // namespace detail

class Room;

// A message that the application is to send, or not to. Nothing is asked until within() or now().
class [[nodiscard]] Expectation {
 public:
    // A field of the message, as `orvi-ai messages NAME` lists them.
    template <class Value>
    [[nodiscard]] Expectation& with(const std::string& field, const Value& value) {
        words_ += " " + detail::Quoted(field + "=" + detail::Text(value));
        return *this;
    }

    // Of this application only, by its name on the bus.
    [[nodiscard]] Expectation& from(const std::string& application) {
        options_ += " --app " + detail::Quoted(application);
        return *this;
    }

    // Waits so long, of the machine's time, for it to be asked since the last mark. Returns the service's words about it;
    // throws a Failure that tells what came instead. An expectation of nothing waits the whole time.
    std::string within(std::chrono::milliseconds time) const;

    // Whether it has been asked by now.
    std::string now() const;

    // The same without an exception, for frameworks.
    Answer answer(std::chrono::milliseconds time) const;
    Answer answer() const;

 private:
    friend class Room;
    Expectation(const Room& room, std::string words) : room_(&room), words_(std::move(words)) {}

    const Room* room_;
    std::string words_;
    std::string options_;
};

struct RoomOptions {
    std::string scenario = {};           // empty: none
    std::string speed = {};              // of the room's time: "60" or "max"; empty: the machine's
    std::vector<std::string> more = {};  // further options of orvi-vision-sim
    std::chrono::seconds timeout{600};   // after which the service ends whatever the test does
};

class Room {
 public:
    // The room of the service that runs on this process's bus: inside orvi-test-run and orvi_add_test() the one that was
    // started for this test; elsewhere one of its own is started. What was asked before does not count for expect().
    Room() : Room(std::getenv("ORVI_TEST_PROGRAMS") == nullptr, RoomOptions{}) {}

    // A room with a service and a bus of its own, which plays the scenario. They end with the object, and with the test
    // when that dies. To be made before the application in this process begins to use the library.
    explicit Room(const std::string& scenario) : Room(true, RoomOptions{scenario}) {}
    explicit Room(const RoomOptions& options) : Room(true, options) {}

    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

    // Any direction by its words, as said to orvi-room: direct("push checkin.count 7"). Throws when it is not done.
    std::string direct(const std::string& line) { return Required(line, ask(line)); }

    // Each further argument is one word, whatever it holds: direct("say", "good morning").
    template <class First, class... Others>
    std::string direct(const std::string& line, const First& first, const Others&... others) {
        return direct(line + " " + detail::Quoted(detail::Text(first)), others...);
    }

    // The same without an exception.
    Answer ask(const std::string& line) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (line.find('\n') != std::string::npos) {
            return {Answer::WRONG_WORDS, "a direction is one line"};
        }
        std::string head;
        Answer answer;
        if (peer_ == nullptr || !peer_->Write(line + "\n") || !peer_->ReadLine(head)) {
            return {Answer::NOBODY, "the room has ended"};
        }
        char* end = nullptr;
        answer.code = static_cast<Answer::Code>(std::strtol(head.c_str(), &end, 10));
        if (!peer_->ReadBytes(std::strtoul(end, nullptr, 10), answer.text)) {
            return {Answer::NOBODY, "the room ended before it had answered"};
        }
        return answer;
    }

    // --- People, and what they say ---

    void person_enters(const std::string& name, bool isGuest = false) {
        direct("person enters --kind " + std::string(isGuest ? "guest" : "invited") + " --name", name);
    }
    void person_leaves(const std::string& name) { direct("person leaves --name", name); }
    void faces(unsigned count) { direct("faces", count); }
    void say(const std::string& text) { direct("say", text); }  // to the voice assistant
    void caption(const std::string& speaker, const std::string& text) {
        direct("caption --speaker " + detail::Quoted(speaker), text);
    }
    void model_answers(const std::string& text) { direct("model answers", text); }
    void push(const std::string& event, const std::string& words = {}) { direct("push " + event + " " + words); }

    // --- Faults: see `orvi-room refuse --help` and so on for `when`, as "--once" ---

    void refuse(const std::string& message, const std::string& verdict, const std::string& when = {}) {
        direct("refuse " + message + " " + verdict + " " + when);
    }
    void drop(const std::string& message, const std::string& when = {}) { direct("drop " + message + " " + when); }
    void delay(const std::string& message, std::chrono::milliseconds time, const std::string& when = {}) {
        direct("delay " + message + " " + detail::Milliseconds(time) + " " + when);
    }
    void reset() { direct("reset all"); }

    // Returns when the service has died and is there again.
    void restart() {
        // What is armed is forgotten with the old one, and so tells it from the new one.
        direct(std::string("silent lock.state --app ") + RESTART_MARK);
        direct("restart");
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        Answer answer;
        while (!(answer = ask("faults")) || answer.text.find(RESTART_MARK) != std::string::npos) {
            if (std::chrono::steady_clock::now() > end) {
                throw Failure("the service has not come back: " + answer.text);
            }
            (void)poll(nullptr, 0, 2);
        }
    }

    // --- Time of the room ---

    void step(std::chrono::milliseconds time) { direct("clock step", detail::Milliseconds(time)); }
    void pace(unsigned times) { direct("clock scale", times); }

    // --- What the application asked ---

    void mark() { direct("mark"); }  // from here on counts
    Expectation expect(const std::string& message) const { return {*this, "expect " + message}; }
    Expectation expect_no(const std::string& message) const { return {*this, "expect no " + message}; }
    std::string journal(const std::string& pattern = {}) { return direct("journal " + pattern); }

    // Waits until so many applications are there.
    void await_clients(unsigned count, std::chrono::milliseconds time = std::chrono::seconds(10)) {
        direct("await clients " + std::to_string(count), detail::Milliseconds(time));
    }

    // Ends a service of one's own and throws a Failure when it had failed or a direction of its scenario was answered no;
    // the destructor does so without a word of its own. A room of a running service is only left.
    void close() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (peer_ != nullptr) {
            const int code = peer_->End();
            peer_.reset();
            if (code != 0) {
                throw Failure("the service of the room failed; what it said stands above (exit code " +
                              std::to_string(code) + ")");
            }
        }
    }

 private:
    static constexpr char RESTART_MARK[] = "before-restart";

    Room(bool hasOwnService, const RoomOptions& options) {
        static bool hasOwn = false;  // one that did not start leaves the bus to the next
        std::vector<std::string> words;
        if (hasOwnService) {
            if (hasOwn) {
                throw Failure(
                    "a process has one bus, and so one room with a service of its own; run each test in its "
                    "own process, or all of them by orvi-test-run with Room{}");
            }
            words = {detail::Program("orvi-test-run"), "--show", "--timeout",
                     std::to_string(options.timeout.count()) + "s"};
            if (!options.scenario.empty()) {
                words.insert(words.end(), {"--scenario", options.scenario});
            }
            if (!options.speed.empty()) {
                words.insert(words.end(), {"--speed", options.speed});
            }
            words.insert(words.end(), options.more.begin(), options.more.end());
            words.insert(words.end(), {"--service-may-end", "--"});
        }
        words.insert(words.end(), {detail::Program("orvi-room"), "serve"});
        peer_ = std::make_unique<detail::Peer>(std::move(words));
        std::string bus;  // stands first
        if (!peer_->ReadLine(bus)) {
            throw Failure("the room did not start; what its service said stands above");
        }
        if (hasOwnService && setenv("ORVI_BUS_DIR", bus.c_str(), 1) != 0) {
            throw Failure("ORVI_BUS_DIR cannot be set");
        }
        hasOwn = hasOwn || hasOwnService;
        mark();
    }

    static std::string Required(const std::string& line, Answer answer) {
        if (!answer) {
            throw Failure(line + ": " + answer.text);
        }
        return std::move(answer.text);
    }

    friend class Expectation;
    mutable std::mutex mutex_;  // guards the conversation
    std::unique_ptr<detail::Peer> peer_;
};

inline Answer Expectation::answer(std::chrono::milliseconds time) const {
    return room_->ask(words_ + options_ + " --within " + detail::Milliseconds(time));
}

inline Answer Expectation::answer() const {
    return room_->ask(words_ + options_);
}

inline std::string Expectation::within(std::chrono::milliseconds time) const {
    return Room::Required(words_ + " within " + detail::Milliseconds(time), answer(time));
}

inline std::string Expectation::now() const {
    return Room::Required(words_, answer());
}

}  // namespace orvi::test

#endif
