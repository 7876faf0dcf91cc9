// A program that loads the bus, as a plug-in would, and unloads it while its receive loop runs.
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "leak_check.h"
#include "orvi_os_msg.h"

namespace {

TEST(BusUnload, TheLibraryStaysWhileThreadsAreInsideIt) {
    char directory[] = "/tmp/orvi-bus-XXXXXX";
    ASSERT_NE(mkdtemp(directory), nullptr);
    setenv("ORVI_BUS_DIR", directory, 1);
    void* library = dlopen(ORVI_TEST_BUS_LIBRARY, RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto join = reinterpret_cast<decltype(&OsMsgInit)>(dlsym(library, "OsMsgInit"));
    const auto reg = reinterpret_cast<decltype(&OsMsgRegTask)>(dlsym(library, "OsMsgRegTask"));
    const auto run = reinterpret_cast<decltype(&OsMsgTaskRoutineByName)>(dlsym(library, "OsMsgTaskRoutineByName"));
    const auto send = reinterpret_cast<decltype(&OsMsgAsynSend)>(dlsym(library, "OsMsgAsynSend"));
    const auto unreg = reinterpret_cast<decltype(&OsMsgUnregTask)>(dlsym(library, "OsMsgUnregTask"));
    ASSERT_EQ(join("self"), 0);
    static std::promise<void> received;
    ASSERT_EQ(reg("t", 64,
                  [](TagMsgBlock*) {
                      received.set_value();
                      return 0;
                  }),
              0);
    ASSERT_EQ(dlclose(library), 0);
    EXPECT_NE(dlopen(ORVI_TEST_BUS_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
    std::thread loop([run] { EXPECT_EQ(run("t"), 0); });
    TagMsgBlock block;
    memset(&block, 0, sizeof(block));
    strcpy(block.recvProcName, "self");
    strcpy(block.recvTaskName, "t");
    EXPECT_EQ(send(&block), 0);
    received.get_future().wait();
    EXPECT_EQ(unreg("self", 1, "t"), 0);
    loop.join();
    orvi_test::ExpectNothingLeftBut(3, 0);  // the record, a descriptor in reserve, this thread's connection
    EXPECT_EQ(std::system(("rm -rf " + std::string(directory)).c_str()), 0);
}

}  // namespace
