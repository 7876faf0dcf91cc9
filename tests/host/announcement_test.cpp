// What subscribers are told, over every order of a name's life and of a watcher's looks at it.
#include "membership/announcement.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <vector>

namespace orvi_bus {
namespace {

// The life of one name as the file system and the kernel show it.
class Life {
 public:
    // kDraw and kAppear are the two halves of joining: the number is drawn before the record can be seen. kDelete and
    // kPutBack: somebody removes a living process's record, and it notices.
    enum Op { kDraw, kAppear, kStart, kDie, kSweep, kDelete, kPutBack, kOps };

    bool Can(Op op) const {
        const bool there = presence_.seen == Presence::Seen::kThere;
        const bool living = live_.number != 0;
        const bool can[kOps] = {drawn_ == 0 && !living,          drawn_ != 0,     living && !live_.started, living,
                                there && !living && drawn_ == 0, there && living, !there && living};
        return can[op];
    }

    void Do(Op op) {
        ++now_;
        switch (op) {
            case kDraw:
                drawn_ = std::max(presence_.latest.number + 1, now_);
                break;
            case kAppear:
                if (presence_.seen == Presence::Seen::kThere) {
                    std::copy_backward(presence_.earlier, presence_.earlier + presence_.earlierCount,
                                       presence_.earlier + presence_.earlierCount + 1);
                    presence_.earlier[0] = presence_.latest;
                    ++presence_.earlierCount;
                }
                live_ = {drawn_, static_cast<pid_t>(drawn_), false};
                drawn_ = 0;
                Show();
                break;
            case kStart:
                live_.started = true;
                startedAt.emplace_back(live_.number, now_);
                presence_.latest.started = presence_.seen == Presence::Seen::kThere;
                break;
            case kDie:
                live_ = {};
                presence_.alive = false;
                break;
            case kSweep:
            case kDelete:
                presence_ = {};
                break;
            default:
                Show();
        }
    }

    const Presence& Look() const { return presence_; }
    uint64_t Now() const { return now_; }
    // The incarnation that everybody who looks counts as running.
    uint64_t Running() const { return presence_.alive && live_.started ? live_.number : 0; }

    std::vector<std::pair<uint64_t, uint64_t>> startedAt;  // number and time

 private:
    void Show() {
        presence_.seen = Presence::Seen::kThere;
        presence_.latest = live_;
        presence_.alive = true;
    }
    uint64_t now_ = 0;
    uint64_t drawn_ = 0;
    Incarnation live_;
    Presence presence_;
};

// A subscriber that carries the decisions out and writes down what it would tell.
class Watcher {
 public:
    void Begin(const Life& life) { before = life.Now(); }

    void Look(const Presence& presence, uint64_t now, bool oneStep) {
        if (firstLook == 0) {
            known = FirstKnown(presence, before);
            if (presence.seen == Presence::Seen::kUnknown) {
                EXPECT_EQ(Decide(presence, known).what, Step::What::kLookAgain);
                EXPECT_EQ(known.settled, before);
                return;
            }
            firstLook = now;
            if (known.current != 0) {
                told.emplace_back(known.current, true);
                silent = 1;
            }
        }
        for (int steps = 0; steps < 100; ++steps) {
            const Step step = Decide(presence, known);
            if (step.what == Step::What::kNothing) {
                return;
            }
            const bool begins = step.what == Step::What::kBegin;
            told.emplace_back(step.incarnation.number, begins);
            EXPECT_TRUE(begins || step.incarnation.pid == static_cast<pid_t>(step.incarnation.number));
            known.current = begins ? step.incarnation.number : 0;
            known.settled = std::max(known.settled, step.incarnation.number);
            known.pid = begins ? step.incarnation.pid : 0;
            EXPECT_EQ(begins && step.running, begins && presence.alive && presence.latest.number == known.current);
            if (oneStep) {
                return;
            }
        }
        ADD_FAILURE() << "it never comes to an end";
    }

    // What joined after the subscription is to be announced, even if the first look that succeeded found it running.
    bool Told(uint64_t number) const {
        const auto first = told.begin() + static_cast<ptrdiff_t>(number > before ? silent : 0);
        return std::find(first, told.end(), std::make_pair(number, true)) != told.end();
    }

    uint64_t before = 0;
    uint64_t firstLook = 0;  // time of the first one that succeeded
    Known known;
    std::vector<std::pair<uint64_t, bool>> told;  // number, and whether it started; what runs at first among them
    size_t silent = 0;                            // how many of these were not announced
};

// Everything in one order of events. Small, since it is copied at every fork of the enumeration.
struct Story {
    Life life;
    Watcher watcher;
    bool deleted = false;
    std::set<uint64_t> lost;  // removed with their record before the watcher could see them
    std::string text;

    void Do(Life::Op op) {
        static const char* const kNames[] = {"draw", "appear", "start", "die", "sweep", "delete", "put-back"};
        text += std::string(kNames[op]) + ' ';
        if (op == Life::kSweep || op == Life::kDelete) {
            const Presence& presence = life.Look();
            lost.insert(presence.latest.number);
            for (size_t i = 0; i < presence.earlierCount; ++i) {
                lost.insert(presence.earlier[i].number);
            }
            deleted = deleted || op == Life::kDelete;
        }
        life.Do(op);
    }

    void Check() {
        watcher.Look(life.Look(), life.Now(), false);
        uint64_t running = 0;
        uint64_t newest = 0;
        for (size_t i = 0; i < watcher.told.size(); ++i) {
            const auto& [number, begins] = watcher.told[i];
            ASSERT_EQ(running, begins ? 0 : number) << "starts and exits alternate";
            running = begins ? number : 0;
            if (!begins) {
                continue;
            }
            ASSERT_TRUE(deleted || number > newest) << "none is told twice, none out of order";
            newest = number;
            const auto start = std::find_if(life.startedAt.begin(), life.startedAt.end(),
                                            [number = number](const auto& each) { return each.first == number; });
            ASSERT_NE(start, life.startedAt.end()) << number << " never started";
            ASSERT_TRUE(deleted || i < watcher.silent || start->second > watcher.before)
                << number << " started before the subscription";
        }
        ASSERT_EQ(watcher.known.current, life.Running());
        for (const auto& [number, at] : life.startedAt) {
            ASSERT_TRUE((at <= watcher.firstLook && number <= watcher.before) || lost.count(number) != 0 ||
                        watcher.Told(number))
                << number << " was not told";
        }
    }
};

class Enumeration {
 public:
    size_t stories = 0;

    // The watcher's turn, then the name's.
    void Watch(const Story& story, int opsLeft) {
        for (int act = 0; act < kActs && !testing::Test::HasFatalFailure(); ++act) {
            Story acted = story;
            if (Take(static_cast<Act>(act), &acted)) {
                Continue(acted, opsLeft);
            }
        }
    }

 private:
    // kOneStep: looks, and carries out one step instead of all.
    enum Act { kNothing, kSubscribe, kLook, kOneStep, kLookInVain, kActs };

    // False when it cannot be done now.
    static bool Take(Act act, Story* story) {
        Watcher& watcher = story->watcher;
        if (act == kNothing) {
            return true;
        }
        if (act == kSubscribe ? watcher.before != 0 : act == kLookInVain && watcher.firstLook != 0) {
            return false;
        }
        if (watcher.before == 0) {
            watcher.Begin(story->life);
        }
        if (act != kSubscribe) {
            Presence unknown;
            unknown.seen = Presence::Seen::kUnknown;
            watcher.Look(act == kLookInVain ? unknown : story->life.Look(), story->life.Now(), act == kOneStep);
        }
        static const char* const kNames[] = {"", "[subscribe] ", "[look] ", "[one step] ", "[in vain] "};
        story->text += kNames[act];
        return true;
    }

    void Continue(Story acted, int opsLeft) {
        if (opsLeft == 0) {
            if (acted.watcher.before != 0) {
                ++stories;
                SCOPED_TRACE(acted.text);
                acted.Check();
            }
            return;
        }
        for (int op = 0; op < Life::kOps; ++op) {
            if (acted.life.Can(static_cast<Life::Op>(op))) {
                Story next = acted;
                next.Do(static_cast<Life::Op>(op));
                Watch(next, opsLeft - 1);
            }
        }
    }
};

TEST(BusAnnouncement, EveryOrderOfEventsAndLooks) {
    // The name may have a past: none, one that ended, one that ended and a second that runs.
    const std::vector<std::vector<Life::Op>> pasts = {
        {Life::kDraw},
        {Life::kDraw, Life::kAppear, Life::kStart, Life::kDie},
        {Life::kDraw, Life::kAppear, Life::kStart, Life::kDie, Life::kDraw, Life::kAppear, Life::kStart}};
    Enumeration enumeration;
    for (const auto& past : pasts) {
        Story story;
        for (const Life::Op op : past) {
            story.Do(op);
        }
        enumeration.Watch(story, 6);
    }
    EXPECT_GT(enumeration.stories, 10000U);
}

TEST(BusAnnouncement, APeersClaimCountsWhereTheKernelAgrees) {
    Presence presence;
    presence.seen = Presence::Seen::kThere;
    presence.owner = 1000;
    presence.alive = true;
    presence.latest = {50, 5, false};
    presence.earlier[0] = {40, 4, true};
    presence.earlier[1] = {30, 0, true};
    presence.earlierCount = 2;
    struct {
        uint64_t number;
        uid_t uid;
        pid_t pid;
        Backing backing;
    } const claims[] = {
        {50, 1000, 5, Backing::kJoined}, {40, 1000, 4, Backing::kStarted},      {50, 1001, 5, Backing::kNone},
        {50, 0, 5, Backing::kNone},      {50, 1000, 4, Backing::kNone},         {40, 1000, 5, Backing::kNone},
        {51, 1000, 5, Backing::kNone},   {UINT64_MAX, 1000, 5, Backing::kNone}, {30, 1000, 0, Backing::kNone},
        {0, 1000, 0, Backing::kNone},    {0, 1000, 5, Backing::kNone},
    };
    for (const auto& claim : claims) {
        EXPECT_EQ(BackingOf(presence, claim.number, claim.uid, claim.pid), claim.backing)
            << claim.number << " uid " << claim.uid << " pid " << claim.pid;
    }
    presence.latest.started = true;
    presence.alive = false;  // what it sent before its end is its own
    EXPECT_EQ(BackingOf(presence, 50, 1000, 5), Backing::kStarted);
    presence.seen = Presence::Seen::kUnknown;
    EXPECT_EQ(BackingOf(presence, 50, 1000, 5), Backing::kUnknown);
    presence.seen = Presence::Seen::kAbsent;
    EXPECT_EQ(BackingOf(presence, 50, 1000, 5), Backing::kNone);
}

}  // namespace
}  // namespace orvi_bus
