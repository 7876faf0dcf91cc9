// Many connections and processes at once: random steps against a model of what must be delivered, answered and
// announced. The same seed takes the same steps.
//
//   ORVI_TEST_STEPS   how many
//   ORVI_TEST_SEED    of the random numbers
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <sstream>

#include "bus_peer.h"
#include "bus_peer_ids.h"
#include "raw_socket.h"
#include "storm_model.h"

namespace {

using orvi_bus::FrameKind;
using orvi_bus::FrameReader;
using storm::Connection;
using storm::Life;
using storm::Message;
using storm::Messages;
using storm::Name;

constexpr size_t kMostConnections = 32;
constexpr uint32_t kNames = 4;
constexpr size_t kRemembered = 40;  // steps that a failure shows
const std::string kUid = std::to_string(geteuid());

class BusStorm : public BusTest {
 protected:
    void SetUp() override;
    void Take(uint32_t steps, uint64_t seed);

 private:
    struct Step {
        uint32_t weight;
        const char* name;
        void (*take)(BusStorm* storm);  // does one thing, or nothing where there is nothing that it could be done to
    };
    static const Step kSteps[];

    void Connect();
    void Allow(bool all);
    void Add(uint32_t length);
    void Swell();
    void Fill();
    void Lie();
    void Close();
    void Join();
    void StartLife();
    void SendFromLife();
    void Die();
    void Fork();
    void HoldUp();
    void WatchTheDead();
    void RaceOff();

    void CheckWatcher();
    void Settle();
    void Pump();
    void ReadReplies(Connection* connection);
    void Drop(size_t index);
    void ReadServer();
    void TakeMessage(const std::string& line);
    void TakeEvent(const std::string& line);
    bool IsSettled();

    uint32_t Random(uint32_t below) { return static_cast<uint32_t>(random_() % below); }
    size_t AnyIndex();
    Connection* AnyConnection();
    // Of one of the names: the process that has it now, null when none has.
    Life* AnyLife(std::string* name);
    void In(const Life& life, const std::string& command, const std::string& expected);
    void Require(bool condition, const std::string& what);

    std::mt19937_64 random_;
    uint32_t nextId_ = 0x100000;
    std::deque<std::string> steps_;
    std::string fault_;  // the first; nothing is done after it

    Peer* server_ = nullptr;   // tasks a, which watches the names, and b
    Peer* watcher_ = nullptr;  // of the dead: it must be told nothing
    Peer* sweeper_ = nullptr;
    Peer* racer_ = nullptr;
    std::string serverBefore_;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::map<std::string, Name> names_;
    std::map<uint32_t, std::shared_ptr<Messages>> senders_;  // of the messages that are under way
    std::vector<pid_t> orphans_;
    bool held_ = false;
    bool watching_ = false;
    uint32_t swelling_ = 0;
};

const BusStorm::Step BusStorm::kSteps[] = {
    {120, "connect", [](BusStorm* storm) { storm->Connect(); }},
    {200, "allow some", [](BusStorm* storm) { storm->Allow(false); }},
    {150, "allow all", [](BusStorm* storm) { storm->Allow(true); }},
    {200, "small message", [](BusStorm* storm) { storm->Add(storm->Random(300)); }},
    {20, "large message", [](BusStorm* storm) { storm->Add(1000 + storm->Random(70000)); }},
    {7, "swell", [](BusStorm* storm) { storm->Swell(); }},
    {10, "lie", [](BusStorm* storm) { storm->Lie(); }},
    {100, "close", [](BusStorm* storm) { storm->Close(); }},
    {10, "join", [](BusStorm* storm) { storm->Join(); }},
    {10, "start", [](BusStorm* storm) { storm->StartLife(); }},
    {40, "send", [](BusStorm* storm) { storm->SendFromLife(); }},
    {10, "die", [](BusStorm* storm) { storm->Die(); }},
    {3, "fork", [](BusStorm* storm) { storm->Fork(); }},
    {5, "hold up", [](BusStorm* storm) { storm->HoldUp(); }},
    {4, "watch the dead", [](BusStorm* storm) { storm->WatchTheDead(); }},
    {1, "race off", [](BusStorm* storm) { storm->RaceOff(); }},
};

void BusStorm::SetUp() {
    BusTest::SetUp();
    // What is inside a frame may stay there: the storm takes its time.
    server_ = &Start({{"ORVI_BUS_FRAME_WAIT_MS", "86400000"}, {"ORVI_BUS_LOG", "0"}});
    Run(server_, "server", "a");
    RunTask(server_, "b");
    for (uint32_t i = 0; i < kNames; ++i) {
        const std::string name = "p" + std::to_string(i);
        ASSERT_EQ(server_->Ask("watch a " + name), "0");
        names_[name] = Name();
    }
    sweeper_ = &Start();
    ASSERT_EQ(sweeper_->Ask("churn 5 dead started 0"), "5 joined");
    watcher_ = &Start();
    ASSERT_EQ(watcher_->Ask("join watcher"), "0");
    racer_ = &Start({{"ORVI_BUS_LOG", "0"}});
    ASSERT_EQ(racer_->Ask("join racer"), "0");
    ASSERT_EQ(server_->Ask("call server a 3 0 0"), "reply 0 uid " + kUid);
    serverBefore_ = server_->Ask("stat");
}

void BusStorm::Take(uint32_t steps, uint64_t seed) {
    random_.seed(seed);
    uint32_t weights = 0;
    for (const Step& step : kSteps) {
        weights += step.weight;
    }
    uint32_t taken = 0;
    for (; taken < steps && fault_.empty(); ++taken) {
        uint32_t at = Random(weights);
        const Step* step = kSteps;
        for (; at >= step->weight; ++step) {
            at -= step->weight;
        }
        steps_.push_back(std::to_string(taken) + ": " + step->name);
        if (steps_.size() > kRemembered) {
            steps_.pop_front();
        }
        step->take(this);
        Pump();
        if (taken % 8 == 0) {
            ReadServer();
        }
        if (taken % 500 == 499) {
            Settle();
        }
    }
    Settle();
    while (!connections_.empty()) {
        Drop(connections_.size() - 1);
    }
    Settle();
    names_.clear();
    for (const pid_t orphan : orphans_) {
        (void)kill(orphan, SIGKILL);
    }
    if (fault_.empty()) {
        AwaitStat(server_, serverBefore_);
        CheckWatcher();
        EXPECT_EQ(fault_, "");
        return;
    }
    std::string last;
    for (const std::string& step : steps_) {
        last += step + "\n";
    }
    ADD_FAILURE() << fault_ << "\nseed " << seed << ", step " << taken << ", the last of them:\n"
                  << last << server_->Errors() << racer_->Errors();
}

void BusStorm::Require(bool condition, const std::string& what) {
    if (!condition && fault_.empty()) {
        fault_ = what;
    }
}

// Half of the time one of the latest: much depends on what happens to connections that were made one after the other.
// Those with large frames seldom: they last.
size_t BusStorm::AnyIndex() {
    const auto count = static_cast<uint32_t>(connections_.size());
    const uint32_t index = Random(2) == 0 ? Random(count) : count - 1 - Random(std::min<uint32_t>(count, 5));
    return connections_[index]->tail != nullptr ? Random(count) : index;
}

Connection* BusStorm::AnyConnection() {
    return connections_.empty() ? nullptr : connections_[AnyIndex()].get();
}

// ---- connections ----

void BusStorm::Connect() {
    if (connections_.size() == kMostConnections) {
        return;
    }
    const char task = Random(4) == 0 ? 'b' : 'a';
    connections_.push_back(std::make_unique<Connection>(directory + "/server:" + task, task));
    Connection& made = *connections_.back();
    // Honest or not about its name, with an incarnation of the past, of the future or of the end of time.
    const uint64_t incarnations[] = {1, uint64_t{1} << 50, UINT64_MAX};
    const std::string name = Random(2) == 0 ? "raw" : "p" + std::to_string(Random(kNames));
    made.bytes = Greeting(name.c_str(), Random(6), incarnations[Random(3)]);
    // Silent at first, all of the hello, or all but its end.
    const size_t all = made.bytes.size();
    const size_t allowed[] = {0, 0, all - 1 - Random(8), all};
    made.allowed = allowed[Random(4)];
}

void BusStorm::Allow(bool all) {
    if (Connection* connection = AnyConnection()) {
        const size_t left = connection->Size() - connection->allowed;
        connection->allowed += all ? left : std::min<size_t>(left, 1 + Random(60));
    }
}

void BusStorm::Add(uint32_t length) {
    Connection* connection = AnyConnection();
    if (connection == nullptr || connection->tail != nullptr) {
        return;
    }
    const bool request = Random(3) == 0;
    const uint32_t id = nextId_++ | (request ? kEchoBit : 0);
    connection->sequence += request ? 1 : 0;
    const Bytes frame = Frame(request ? FrameKind::kRequest : FrameKind::kOneWay, request ? connection->sequence : 0,
                              id, Payload(length), Random(2) == 0 ? orvi_bus::kFlagStarted : uint16_t{0});
    connection->bytes.insert(connection->bytes.end(), frame.begin(), frame.end());
    connection->unsent.push_back({connection->bytes.size(), {id, length}});
    senders_[id] = connection->messages;
}

// As many connections inside large frames as a peer is lent memory for, and more: made by one step, filled by the next,
// ended by the third.
void BusStorm::Swell() {
    swelling_ = (swelling_ + 1) % 3;
    for (size_t i = connections_.size(); swelling_ != 1 && i-- > 0;) {
        Connection& connection = *connections_[i];
        if (connection.tail != nullptr && swelling_ == 2) {
            connection.allowed = connection.Size() - 1 - Random(100);
        } else if (connection.tail != nullptr && Random(4) == 0) {
            connection.allowed = connection.Size();
        } else if (connection.tail != nullptr) {
            Drop(i);
        }
    }
    if (swelling_ != 1) {
        Fill();
        return;
    }
    static const Bytes& payload = *new Bytes(Payload(orvi_bus::kMaxDataLen));
    for (uint32_t i = 4 + Random(2); i > 0; --i) {
        connections_.push_back(std::make_unique<Connection>(directory + "/server:a", 'a'));
        Connection& made = *connections_.back();
        const uint32_t id = nextId_++;
        Bytes header(orvi_bus::kHeaderSize);
        orvi_bus::FrameHeader large;
        large.msgId = id;
        large.dataLen = orvi_bus::kMaxDataLen;
        EncodeHeader(large, header.data());
        made.bytes = Greeting("raw", 100 + i) + header;
        made.tail = &payload;
        made.allowed = made.bytes.size();
        made.unsent.push_back({made.Size(), {id, orvi_bus::kMaxDataLen}});
        senders_[id] = made.messages;
    }
}

// Until the server takes no more of them, or the pause shows that it has too much or is held up.
void BusStorm::Fill() {
    int pauses = 0;
    for (size_t before = 1, left = 0; left != before || pauses < 20; before = left) {
        Pump();
        left = 0;
        for (const auto& connection : connections_) {
            left += connection->tail != nullptr ? connection->allowed - connection->sent : 0;
        }
        if (left == 0) {
            return;
        }
        pauses = left == before ? pauses + poll(nullptr, 0, 1) + 1 : 0;
    }
}

void BusStorm::Lie() {
    if (connections_.empty()) {
        return;
    }
    const size_t index = AnyIndex();
    Connection& connection = *connections_[index];
    if (connection.sent == connection.Size()) {
        (void)connection.socket.SendSome(Bytes(100, 'x').data(), 100);
        Drop(index);
    }
}

void BusStorm::Close() {
    if (!connections_.empty()) {
        Drop(AnyIndex());
    }
}

// What the kernel has taken whole is delivered all the same.
void BusStorm::Drop(size_t index) {
    for (const auto& message : connections_[index]->unsent) {
        senders_.erase(message.second.id);
    }
    connections_.erase(connections_.begin() + static_cast<std::ptrdiff_t>(index));
}

void BusStorm::Pump() {
    for (const auto& connection : connections_) {
        while (connection->sent < connection->allowed && connection->SendSome()) {
        }
        while (!connection->unsent.empty() && connection->unsent.front().first <= connection->sent) {
            const Message& message = connection->unsent.front().second;
            connection->messages->push_back(message);
            if ((message.id & kEchoBit) != 0) {
                connection->answers.push_back(message);
            }
            connection->unsent.pop_front();
        }
        ReadReplies(connection.get());
    }
}

void BusStorm::ReadReplies(Connection* connection) {
    uint8_t* at = nullptr;
    size_t room = 0;
    while (!connection->answers.empty() && connection->replies.Room(&at, &room)) {
        const ssize_t count = recv(connection->socket.Get(), at, room, MSG_DONTWAIT);
        if (count <= 0) {
            Require(count < 0 && errno == EAGAIN, "a connection that waits for an answer was closed");
            return;
        }
        connection->replies.Received(static_cast<size_t>(count));
        orvi_bus::FrameHeader header;
        const uint8_t* payload = nullptr;
        while (connection->replies.Next(&header, &payload) == FrameReader::Result::kFrame) {
            Require(header.kind == FrameKind::kReply && !connection->answers.empty() &&
                        header.msgId == connection->answers.front().id &&
                        header.dataLen == connection->answers.front().length,
                    "a wrong answer to " + std::to_string(header.msgId));
            if (!fault_.empty()) {
                return;
            }
            connection->answers.pop_front();
            connection->replies.Consume();
        }
    }
}

// ---- processes ----

Life* BusStorm::AnyLife(std::string* name) {
    *name = "p" + std::to_string(Random(kNames));
    return names_[*name].IsAlive() ? &names_[*name].lives.back() : nullptr;
}

void BusStorm::In(const Life& life, const std::string& command, const std::string& expected) {
    const std::string answer = life.peer->Ask(command);
    Require(answer == expected, command + ": " + answer + " " + life.peer->Errors());
}

void BusStorm::Join() {
    std::string name;
    if (AnyLife(&name) == nullptr) {
        names_[name].lives.emplace_back(StartAlone());
        In(names_[name].lives.back(), "join " + name, "0");
    }
}

void BusStorm::StartLife() {
    std::string name;
    Life* life = AnyLife(&name);
    if (life != nullptr && !life->mayHaveStarted) {
        In(*life, "task t", "0");
        life->mayHaveStarted = true;
        In(*life, "run t", "0");
        In(*life, "call " + name + " t 3 0 0", "reply 0 uid " + kUid);
        life->startedBefore = nextId_;
    }
}

void BusStorm::SendFromLife() {
    std::string name;
    if (Life* life = AnyLife(&name)) {
        const Message message{nextId_++, Random(2000)};
        life->messages->push_back(message);
        senders_[message.id] = life->messages;
        In(*life, "send server a " + std::to_string(message.id) + " " + std::to_string(message.length), "0");
    }
}

void BusStorm::Die() {
    std::string name;
    if (Life* life = AnyLife(&name)) {
        life->peer.reset();
    }
}

// The process leaves a child behind, which must not keep it alive.
void BusStorm::Fork() {
    std::string name;
    Life* life = AnyLife(&name);
    if (life != nullptr && orphans_.size() < 20) {
        orphans_.push_back(static_cast<pid_t>(std::stol(life->peer->Ask("fork"))));
        life->peer.reset();
    }
}

// The server's first loop stands still for a number of steps.
void BusStorm::HoldUp() {
    if (held_) {
        Require(server_->Ask("release 1") == "0", "no release");
    } else {
        Require(server_->Ask("send server a " + std::to_string(kBlock) + " 0") == "0", "no message to itself");
    }
    held_ = !held_;
}

// Each subscriber stays until the next of its name comes: what is wrongly told may come late.
void BusStorm::WatchTheDead() {
    sweeper_->Tell("churn 4 sweeper joined 0");
    for (int subscriber = 0; subscriber < 8; ++subscriber) {
        const std::string task = "w" + std::to_string(subscriber);
        Require(!watching_ || watcher_->Ask("unreg watcher " + task) == "0", "no such task");
        Require(watcher_->Ask("task " + task) == "0" && watcher_->Ask("run " + task) == "0", "no task");
        for (int dead = 0; dead < 5; ++dead) {
            Require(watcher_->Ask("watch " + task + " dead" + std::to_string(dead)) == "0", "no watch");
        }
    }
    watching_ = true;
    Require(sweeper_->Answer() == "4 joined", "the sweeper failed " + sweeper_->Errors());
    CheckWatcher();
}

void BusStorm::CheckWatcher() {
    for (const std::string& line : watcher_->Seen()) {
        Require(line.rfind("loop ", 0) == 0, "of the long dead: " + line);
    }
}

void BusStorm::RaceOff() {
    const std::string answer = racer_->Ask("raceoff racer 5 4");
    Require(answer == "5 good", "a task is taken off while its loop starts: " + answer);
}

// ---- what the server tells ----

void BusStorm::ReadServer() {
    for (const std::string& line : server_->Seen()) {
        if (line.rfind("message ", 0) == 0) {
            TakeMessage(line);
        } else if (line.rfind("start ", 0) == 0 || line.rfind("exit ", 0) == 0) {
            TakeEvent(line);
        } else {
            Require(line == "unblocked", "what is this: " + line);
        }
    }
    Require(server_->IsAlive(), "the server has ended");
}

void BusStorm::TakeMessage(const std::string& line) {
    std::istringstream words(line);
    std::string word, task, uid, damaged;
    Message message{};
    words >> word >> task >> message.id >> message.length >> uid >> damaged;
    if (message.id == kBlock) {
        return;
    }
    const auto sender = senders_.find(message.id);
    if (sender == senders_.end() || sender->second->empty() || sender->second->front().id != message.id ||
        sender->second->front().length != message.length || uid != kUid || !damaged.empty()) {
        Require(false, "not expected now: " + line);
        return;
    }
    const std::shared_ptr<Messages> messages = sender->second;
    messages->pop_front();
    senders_.erase(sender);
    for (const auto& [name, state] : names_) {
        const auto life = std::find_if(state.lives.begin(), state.lives.end(),
                                       [&](const Life& candidate) { return candidate.messages == messages; });
        if (life != state.lives.end()) {
            const bool hadStarted = message.id >= life->startedBefore;
            Require(!hadStarted || state.announced, "before its start: " + line);
            Require(!hadStarted || std::all_of(state.lives.begin(), life,
                                               [](const Life& earlier) {
                                                   return !earlier.mayHaveStarted || earlier.messages->empty();
                                               }),
                    "before those of an earlier " + name + ": " + line);
        }
    }
}

// Exit follows the last message of the process that ended; starts and exits take turns.
void BusStorm::TakeEvent(const std::string& line) {
    std::istringstream words(line);
    std::string event, name, uid;
    words >> event >> name >> uid;
    Name& state = names_[name];
    Require(uid == kUid && state.announced == (event == "exit"), "out of turn: " + line);
    state.announced = event == "start";
    if (state.announced) {
        bool possible = false;
        for (const Life& life : state.lives) {
            possible = possible || life.mayHaveStarted;
        }
        Require(possible, "none has started: " + line);
        return;
    }
    // The first that had started has ended, and whoever came before it.
    bool ended = false;
    while (!ended && !state.lives.empty() && state.lives.front().peer == nullptr) {
        ended = state.lives.front().mayHaveStarted;
        Require(!ended || state.lives.front().messages->empty(), "a message is to come after " + line);
        state.lives.pop_front();
    }
    Require(ended, "none has ended: " + line);
}

bool BusStorm::IsSettled() {
    Pump();
    ReadServer();
    for (const auto& connection : connections_) {
        if (connection->sent != connection->allowed || !connection->answers.empty() || !connection->messages->empty()) {
            return false;
        }
    }
    for (const auto& entry : names_) {
        if (!entry.second.IsSettled()) {
            return false;
        }
    }
    return senders_.empty();
}

// Everything that was begun is brought to its end, and all must have come.
void BusStorm::Settle() {
    if (held_) {
        HoldUp();
    }
    for (const auto& connection : connections_) {
        connection->allowed = connection->Size();
    }
    const auto deadline = std::chrono::steady_clock::now() + orvi_test::PATIENCE;
    while (fault_.empty() && !IsSettled()) {
        Require(std::chrono::steady_clock::now() < deadline, "something never came");
    }
    for (auto& entry : names_) {  // of merged cycles some ends were not announced
        std::deque<Life>& lives = entry.second.lives;
        lives.erase(lives.begin(), lives.end() - (entry.second.IsAlive() ? 1 : 0));
    }
}

TEST_F(BusStorm, EverythingArrivesOnceInOrder) {
    const auto number = [](const char* variable, const char* fallback) {
        const char* text = getenv(variable);
        return std::stoull(text != nullptr && *text != '\0' ? text : fallback);
    };
    const char* steps = *ORVI_TEST_EMULATOR != '\0' ? "2000" : "20000";
    Take(static_cast<uint32_t>(number("ORVI_TEST_STEPS", steps)), number("ORVI_TEST_SEED", "1"));
}

}  // namespace
