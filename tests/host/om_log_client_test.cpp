#include <cerrno>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "child.h"
#include "orvi_host_log.h"
#include "orvi_om_log_client.h"

namespace {

void Error(const char* text) {
    OrviOmLogModuleLogRecord(1, 7, "a.cpp", 5, 42, "%s", text);
}
void Info(const char* text) {
    OrviOmLogModuleLogRecord(3, 7, "a.cpp", 5, 42, "%s", text);
}
void Storm(const char* text) {
    OrviOmLogStormLogRecord(3, 3, "b.cpp", 5, 43, "%s", text);
}

TEST(LogClient, LevelsDecideWhatIsWritten) {
    const struct {
        const char* level;
        std::vector<std::string> expected;  // the ends of the lines of the log file
        size_t complaints;
    } cases[] = {
        {"", {" a.cpp:42 e"}, 0},
        {"none", {}, 0},
        {"0", {}, 0},
        {"error", {" a.cpp:42 e"}, 0},
        {"1", {" a.cpp:42 e"}, 0},
        {"info", {" a.cpp:42 e", " a.cpp:42 i", " b.cpp:43 s"}, 0},
        {"3", {" a.cpp:42 e", " a.cpp:42 i", " b.cpp:43 s"}, 0},
        {"loud\n", {" a.cpp:42 e"}, 1},
        {"INFO", {" a.cpp:42 e"}, 1},
        {"2", {" a.cpp:42 e"}, 1},
    };
    for (const auto& c : cases) {
        const TempDir dir;
        InChild({{"ORVI_LOG_LEVEL", c.level}, {"ORVI_LOG_FILE", dir / "log"}}, dir / "err", [] {
            OrviOmLogModuleLogRecord(0, 7, "a.cpp", 5, 41, "level 0 is no level");
            Error("e");
            Info("i");
            Storm("s");
        });
        const std::vector<std::string> written = Lines(ReadFile(dir / "log"));
        ASSERT_EQ(written.size(), c.expected.size()) << c.level;
        for (size_t i = 0; i < written.size(); ++i) {
            int year = 0;
            char level[6] = {};
            int rest = 0;  // stays 0 when something before it differs
            (void)std::sscanf(written[i].c_str(), "%4d-%*2u-%*2uT%*2u:%*2u:%*2u.%*6uZ %5[a-z] %*u:%*u%n", &year, level,
                              &rest);
            EXPECT_GT(year, 2000) << written[i];
            EXPECT_EQ(level[0], c.expected[i].back()) << written[i];
            EXPECT_EQ(written[i].substr(static_cast<size_t>(rest)), c.expected[i]) << written[i];
        }
        EXPECT_EQ(Lines(ReadFile(dir / "err")).size(), c.complaints) << c.level << ReadFile(dir / "err");
        EXPECT_EQ(access((dir / "log").c_str(), F_OK) == 0, !c.expected.empty())
            << "a record that is filtered out must not touch the file system";
    }
}

TEST(LogClient, LinesStayLines) {
    const struct {
        std::string text;
        std::string expected;
    } cases[] = {
        {"plain", "plain"},
        {"one newline at the end\n", "one newline at the end"},
        {"two\n\n", "two\\n"},
        {"a\nb\r\tc", "a\\nb\\r\\tc"},
        {"\x1b[31mred\x7f", "\\x1b[31mred\\x7f"},
        {std::string("nul\0byte", 8), "nul\\x00byte"},
        {"gr\xc3\xbc\xc3\x9f \xe4\xbd\xa0 \xf0\x9f\x99\x82", "gr\xc3\xbc\xc3\x9f \xe4\xbd\xa0 \xf0\x9f\x99\x82"},
        {"\xc2\x9b"
         "31m",
         "\\xc2\\x9b31m"},                                        // the terminal's control code in two bytes
        {"\xc0\xaf \xe0\x80\xaf", "\\xc0\\xaf \\xe0\\x80\\xaf"},  // over-long forms
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},                      // a surrogate
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},             // beyond the last character
        {"end \xe4\xbd", "end \\xe4\\xbd"},                       // a character that stops short
        {"", ""},
    };
    for (const auto& c : cases) {
        const TempDir dir;
        InChild({{"ORVI_LOG_FILE", dir / "log"}}, "", [&] { OrviHostLogWriteLine(c.text.data(), c.text.size()); });
        EXPECT_EQ(ReadFile(dir / "log"), c.expected + "\n");
    }
}

// Around the longest line, with pieces of one, two and four bytes: never longer, never cut silently, no half character.
TEST(LogClient, LongLinesAreCutAndMarked) {
    const std::string mark = " [cut]\n";
    for (const std::string piece : {"a", "\xc3\xbc", "\xf0\x9f\x99\x82", "\n"}) {
        const std::string shown = piece == "\n" ? "\\n" : piece;
        for (const int over : {-1, 0, 1, 3000}) {
            const size_t count = static_cast<size_t>((ORVI_HOST_LINE_SIZE - 2) / static_cast<int>(shown.size()) + over);
            std::string text = "x";
            std::string whole = "x";
            for (size_t i = 0; i < count; ++i) {
                text += piece;
                whole += shown;
            }
            text += "\n";
            whole += "\n";
            const TempDir dir;
            InChild({{"ORVI_LOG_FILE", dir / "log"}}, "", [&] { OrviHostLogWriteLine(text.data(), text.size()); });
            const std::string line = ReadFile(dir / "log");
            ASSERT_LE(line.size(), static_cast<size_t>(ORVI_HOST_LINE_SIZE));
            if (whole.size() <= ORVI_HOST_LINE_SIZE) {
                EXPECT_EQ(line, whole);
                continue;
            }
            ASSERT_GT(line.size(), ORVI_HOST_LINE_SIZE - mark.size() - 8) << "cut more than needed";
            EXPECT_EQ(line.substr(line.size() - mark.size()), mark);
            const std::string kept = line.substr(0, line.size() - mark.size());
            EXPECT_EQ((kept.size() - 1) % shown.size(), 0U) << "cut inside a character";
            EXPECT_EQ(kept, whole.substr(0, kept.size()));
        }
    }
}

TEST(LogClient, ThreadsAndProcessesDoNotMix) {
    constexpr int kThreads = 4;
    constexpr int kRecords = 200;
    const TempDir dir;
    const std::string text(300, 'z');
    InChild({{"ORVI_LOG_FILE", dir / "log"}}, "", [&] {
        const pid_t twin = fork();
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&] {
                for (int i = 0; i < kRecords; ++i) {
                    Error(text.c_str());
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        if (twin == 0) {
            std::exit(0);
        }
        EXPECT_EQ(waitpid(twin, nullptr, 0), twin);
    });
    const std::vector<std::string> lines = Lines(ReadFile(dir / "log"));
    EXPECT_EQ(lines.size(), 2U * kThreads * kRecords);
    for (const std::string& line : lines) {
        ASSERT_EQ(line.substr(line.size() - text.size()), text);
        ASSERT_EQ(line.find(" error "), 27U) << line;
    }
}

// Storm records beyond the limit of a second are counted, and each is either written or told of.
TEST(LogClient, StormsAreCounted) {
    const TempDir dir;
    constexpr int kRecords = 5 * ORVI_HOST_STORM_PER_SECOND;
    InChild({{"ORVI_LOG_LEVEL", "info"}, {"ORVI_LOG_FILE", dir / "log"}}, "", [] {
        for (int i = 0; i < kRecords; ++i) {
            Storm("again");
        }
        Info("other records are not held up");
    });
    int written = 0;
    int told = 0;
    for (const std::string& line : Lines(ReadFile(dir / "log"))) {
        int count = 0;
        if (line.find(" storm records left out: more than 1000 ") != std::string::npos &&
            std::sscanf(line.c_str(), "%*s log %*u: %d", &count) == 1) {
            told += count;
        } else {
            written += line.find(" storm ") != std::string::npos ? 1 : 0;
        }
    }
    EXPECT_GE(written, ORVI_HOST_STORM_PER_SECOND);
    EXPECT_EQ(written + told, kRecords);
}

TEST(LogClient, AnUnusableFileIsToldOnceAndStandardErrorTakesOver) {
    const TempDir dir;
    ASSERT_EQ(mkdir((dir / "folder").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    for (const std::string name : {"folder", "pipe", "missing/log"}) {
        const std::string err = dir / "err";
        (void)unlink(err.c_str());
        InChild({{"ORVI_LOG_FILE", dir / name}}, err, [] {
            Error("first");
            Error("second");
        });
        const std::vector<std::string> lines = Lines(ReadFile(err));
        ASSERT_EQ(lines.size(), 3U) << ReadFile(err);
        EXPECT_EQ(lines[0].find("ORVI_LOG_FILE: cannot write to " + (dir / name) + ": "), 0U) << lines[0];
        EXPECT_NE(lines[1].find("first"), std::string::npos);
        EXPECT_NE(lines[2].find("second"), std::string::npos);
    }
}

// Reads what is in a pipe without waiting.
std::string Drain(int fd) {
    std::string all;
    char buffer[65536];
    pollfd ready{fd, POLLIN, 0};
    while (poll(&ready, 1, 0) == 1) {
        const ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n <= 0) {
            break;
        }
        all.append(buffer, static_cast<size_t>(n));
    }
    return all;
}

// Lines that a full pipe refuses are lost, and told of as soon as it takes lines again.
TEST(LogClient, LostLinesAreTold) {
    InChild({{"ORVI_LOG_FILE", ""}}, "", [] {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
        ASSERT_EQ(dup2(ends[1], STDERR_FILENO), STDERR_FILENO);
        const std::string text(1000, 'p');
        constexpr size_t kRecords = 200;
        for (size_t i = 0; i < kRecords; ++i) {
            Error(text.c_str());
        }
        const size_t taken = Lines(Drain(ends[0])).size();
        ASSERT_LT(taken, kRecords);
        Error("after");
        const std::vector<std::string> lines = Lines(Drain(ends[0]));
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_NE(lines[0].find(": " + std::to_string(kRecords - taken) + " lines lost: "), std::string::npos)
            << lines[0];
        EXPECT_NE(lines[1].find("after"), std::string::npos);
    });
}

TEST(LogClient, APipeWithoutReaderDoesNotKill) {
    InChild({{"ORVI_LOG_FILE", ""}}, "", [] {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const int saved = dup(STDERR_FILENO);
        ASSERT_EQ(dup2(ends[1], STDERR_FILENO), STDERR_FILENO);
        (void)close(ends[0]);
        Error("nobody reads this");
        sigset_t pending;
        ASSERT_EQ(sigpending(&pending), 0);
        EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
        ASSERT_EQ(dup2(saved, STDERR_FILENO), STDERR_FILENO);
    });
}

// Callers log first and look at errno afterwards; a format may ask for it as well.
TEST(LogClient, ErrnoIsTheCallers) {
    const TempDir dir;
    InChild({{"ORVI_LOG_FILE", dir / "missing/log"}}, dir / "err", [] {
        errno = ENOENT;
        OrviOmLogModuleLogRecord(1, 7, "a.cpp", 5, 1, "reason: %m");
        EXPECT_EQ(errno, ENOENT);
    });
    EXPECT_NE(ReadFile(dir / "err").find("reason: No such file or directory\n"), std::string::npos);
}

// A log opened while a standard descriptor is closed must not take its number: what the application prints would
// land in the log.
TEST(LogClient, TheLogIsNoStandardDescriptor) {
    const TempDir dir;
    InChild({{"ORVI_LOG_FILE", dir / "log"}}, "", [] {
        (void)close(STDIN_FILENO);
        Error("record");
        errno = 0;
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    });
    EXPECT_EQ(Lines(ReadFile(dir / "log")).size(), 1U);
}

}  // namespace
