// Runs a piece of a test in a forked child with an environment of its own: the host libraries read their settings once
// in a process's life.
#ifndef ORVI_TESTS_HOST_CHILD_H
#define ORVI_TESTS_HOST_CHILD_H

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "read_file.h"

using orvi_test::ReadFile;

using Environment = std::vector<std::pair<std::string, std::string>>;

inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// A folder that goes with its contents (plain files only).
class TempDir {
 public:
    TempDir() {
        char name[] = "/tmp/orvi-test-XXXXXX";
        path_ = mkdtemp(name);
    }
    ~TempDir() { (void)std::system(("rm -rf " + path_).c_str()); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
    std::string path_;
};

// Forks, sets `environment`, sends standard error to the file `errorPath` (when not empty) and runs `body`. Expectations
// that fail in the child fail the test. The child ends by exit(), as a program does.
template <typename Body>
void InChild(const Environment& environment, const std::string& errorPath, Body body) {
    (void)std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        (void)alarm(100);
        for (const auto& [name, value] : environment) {
            (void)setenv(name.c_str(), value.c_str(), 1);
        }
        if (!errorPath.empty()) {
            const int fd = open(errorPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            (void)dup2(fd, STDERR_FILENO);
            (void)close(fd);
        }
        body();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "child ended by signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0) << "the child's expectations failed, see above";
}

#endif
