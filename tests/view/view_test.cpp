// The page's server as any program of this machine may talk to it: what it tells, and what it turns away.
#include <arpa/inet.h>
#include <chrono>
#include <list>
#include <netinet/in.h>
#include <regex>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "tool_test.h"

namespace orvi_test {
namespace {

// A connection of a browser that may break off anywhere.
class Browser {
 public:
    explicit Browser(uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        isThere_ = connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
        const timeval patience{60, 0};
        const int little = 128 << 10;
        EXPECT_EQ(setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &little, sizeof(little)), 0);
        EXPECT_EQ(setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience)), 0);
    }
    ~Browser() { (void)close(socket_); }
    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;

    bool IsThere() const { return isThere_; }
    // False when the other end has gone.
    bool Send(const std::string& bytes) const {
        return send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }
    // What comes up to the first that holds `text`, or all of it.
    std::string ReadTo(const std::string& text) const {
        std::string all;
        char bytes[65536];
        while (text.empty() || all.find(text) == std::string::npos) {
            const ssize_t size = recv(socket_, bytes, sizeof(bytes), 0);
            if (size <= 0) {
                break;
            }
            all.append(bytes, static_cast<size_t>(size));
        }
        return all;
    }

 private:
    const int socket_;
    bool isThere_ = false;
};

class ViewTest : public ToolTest {
 protected:
    void SetUp() override {
        simulator_.Start({"--arrival", "0", "--view"});
        address_ = simulator_.Command("view");
        const size_t port = address_.rfind(':') + 1;
        const size_t slash = address_.find('/', port);
        port_ = static_cast<uint16_t>(std::stoi(address_.substr(port, slash - port)));
        host_ = "127.0.0.1:" + std::to_string(port_);
        path_ = address_.substr(slash);
    }

    std::string Request(const std::string& first, const std::string& fields = "", const std::string& body = "") const {
        return first + " HTTP/1.1\r\n" + (fields.find("Host:") != std::string::npos ? "" : "Host: " + host_ + "\r\n") +
               fields + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    std::string Ask(const std::string& request) const {
        const Browser browser(port_);
        if (!browser.IsThere() || !browser.Send(request)) {
            return "";
        }
        return browser.ReadTo("");
    }
    std::string Direct(const std::string& line) const { return Ask(Request("POST " + path_ + "direction", "", line)); }

    std::string address_;
    std::string host_;
    std::string path_;
    uint16_t port_ = 0;
};

TEST_F(ViewTest, AnswersThoseThatAreMeant) {
    const std::string origin = "Origin: http://";
    const struct {
        std::string request;
        std::string status;
        std::string says;
    } cases[] = {
        {Request("GET " + path_), "200", "<title>The simulated room</title>"},
        {Request("GET " + path_), "200", "Content-Security-Policy: default-src 'none'; script-src 'self'"},
        {Request("GET " + path_ + "room.js"), "200", "text/javascript"},
        {Request("GET " + path_ + "state"), "200", "\"words\":\"detectors=0 captions=off"},
        {Request("GET " + path_ + "vocabulary"), "200", "{\"name\":\"person enters\""},
        {Request("GET " + path_ + "photo?user-0001"), "404", "nobody of this id has come"},
        {Request("GET " + path_ + "../" + path_), "404", "the page has no "},
        {Request("GET /"), "404", "the service has told the page's whole address"},
        {Request("GET " + path_.substr(0, path_.size() - 2) + "/"), "404", "the service has told"},
        {Request("GET " + path_, "Host: rebound.example\r\n"), "403", "not for other sites"},
        {Request("GET " + path_, "Host: rebound.example:" + std::to_string(port_) + "\r\n"), "403", ""},
        {Request("GET " + path_, "Host: localhost:" + std::to_string(port_) + "\r\n"), "200", ""},
        {Request("GET " + path_, origin + host_ + "\r\n"), "200", ""},
        {Request("POST " + path_ + "direction", origin + "elsewhere.example\r\n", "faces 1"), "403", ""},
        {Request("POST " + path_ + "direction", origin + "null\r\n", "faces 1"), "403", ""},
        {Request("GET " + path_ + "direction"), "405", ""},
        {Request("POST " + path_), "405", ""},
        {Request("POST " + path_ + "direction", "", "faces 1\nquit"), "400", "a direction is one line"},
        {Request("POST " + path_ + "direction", "", ""), "400", ""},
        {Request("POST " + path_ + "direction", "", "faces 9"), "200", "error "},
        {Request("POST " + path_ + "direction", "", "expect face.start --within 10ms"), "200", "error "},
        {"GET " + path_ + " HTTP/1.1\r\nX: " + std::string(100000, 'x') + "\r\n\r\n", "400", ""},
        {"POST / HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n", "400", ""},
        {"\r\n\r\n\r\n", "400", ""},
        {std::string(20000, '\0'), "400", ""},
        {Request("POST " + path_ + "direction", "", "caption " + std::string(5 << 20, 'x')), "400", "than 65536 bytes"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.request.substr(0, 200));
        const std::string answer = Ask(one.request);
        EXPECT_EQ(answer.substr(0, 12), "HTTP/1.1 " + one.status);
        EXPECT_NE(answer.find(one.says), std::string::npos) << answer;
    }
    EXPECT_NE(simulator_.Ask("persons").find("ok"), std::string::npos);  // and serves as before
}

TEST_F(ViewTest, TellsWhatHappensToEachPage) {
    const Browser first(port_);
    const Browser second(port_);
    for (const Browser* browser : {&first, &second}) {
        browser->Send(Request("GET " + path_ + "events"));
        EXPECT_NE(browser->ReadTo("\"words\"").find("text/event-stream"), std::string::npos);
    }
    EXPECT_NE(Direct("refuse lock.state busy").find("\r\n\r\nok"), std::string::npos);
    std::string ignored;
    EXPECT_EQ(Run("orvi-ai", "lock state 7", ignored), 0);
    for (const Browser* browser : {&first, &second}) {
        const std::string told = browser->ReadTo("\"name\":\"lock.state\"");
        EXPECT_NE(told.find("\"line\":\"refuse lock.state busy\""), std::string::npos) << told;
        EXPECT_NE(
            told.find(
                "\"ending\":\"refused busy\",\"fault\":true,\"fields\":{\"state\":7},\"replyBytes\":1,\"reply\":{"),
            std::string::npos)
            << told;
    }
    // A direction that waits keeps no page waiting.
    const Browser waits(port_);
    waits.Send(Request("POST " + path_ + "direction", "", "expect lock.state state=8 --within 50s"));
    EXPECT_NE(Direct("faces 2").find("\r\n\r\nok"), std::string::npos);
    EXPECT_EQ(Run("orvi-ai", "lock state 8", ignored), 0);
    EXPECT_NE(waits.ReadTo("").find("\r\n\r\nok"), std::string::npos);
    // What ends the service is told before it does.
    EXPECT_NE(Direct("quit").find("\r\n\r\nok"), std::string::npos);
    EXPECT_EQ(simulator_.Child().Wait(), 0);
}

TEST_F(ViewTest, NobodyKeepsAPageAway) {
    std::vector<std::unique_ptr<Browser>> many;
    for (int i = 0; i < 200; ++i) {  // ask nothing
        many.push_back(std::make_unique<Browser>(port_));
    }
    std::vector<std::unique_ptr<Browser>> pages;
    for (int i = 0; i < 64; ++i) {
        pages.push_back(std::make_unique<Browser>(port_));
        pages.back()->Send(Request("GET " + path_ + "events"));
    }
    for (const auto& page : pages) {
        ASSERT_NE(page->ReadTo("\"words\"").find("\"words\""), std::string::npos);
    }
    EXPECT_NE(Ask(Request("GET " + path_ + "events")).find("so many pages look on already"), std::string::npos);
    EXPECT_NE(Direct("faces 2").find("\r\n\r\nok"), std::string::npos);
    EXPECT_NE(pages.front()->ReadTo("faces 2").find("faces 2"), std::string::npos);
}

// What the environment says of another process, or of none, is not taken.
TEST_F(ViewTest, TakesItsPlaceFromItselfAlone) {
    for (const char* const place : {"nonsense", "", "1 99999 k", "80 key"}) {
        simulator_.Kill();
        setenv("ORVI_VISION_SIM_VIEW", place, 1);
        simulator_.Start({"--view", std::to_string(port_)});
        unsetenv("ORVI_VISION_SIM_VIEW");
        EXPECT_TRUE(std::regex_match(simulator_.Command("view"), std::regex("http://" + host_ + "/[0-9a-f]{32}/")));
    }
}

TEST_F(ViewTest, StartsAgainAtTheSameAddress) {
    if (*ORVI_TEST_EMULATOR != '\0') {
        GTEST_SKIP() << "an emulated service cannot start itself again";
    }
    const Browser watching(port_);
    watching.Send(Request("GET " + path_ + "events"));
    (void)Direct("restart");
    EXPECT_NE(watching.ReadTo("").find("\"words\""), std::string::npos);  // up to the end of the one before
    std::string state;
    const auto end = std::chrono::steady_clock::now() + PATIENCE;
    while (state.find("\"words\"") == std::string::npos && std::chrono::steady_clock::now() < end) {
        state = Ask(Request("GET " + path_ + "state"));
    }
    EXPECT_NE(state.find("\"words\""), std::string::npos) << state;
}

TEST_F(ViewTest, APageThatReadsNothingHoldsUpNobody) {
    constexpr int TEXTS = 1500;  // several times what a connection and a feed hold
    const Browser slow(port_);
    slow.Send(Request("GET " + path_ + "events"));
    (void)slow.ReadTo("\"words\"");
    const std::string text = "model answers " + std::string(1900, 'x');
    for (int i = 0; i < TEXTS; ++i) {
        ASSERT_EQ(simulator_.Ask(text), "ok");
    }
    std::vector<std::unique_ptr<Browser>> many;  // more than are served at a time, and none asks anything
    for (int i = 0; i < 75; ++i) {
        many.push_back(std::make_unique<Browser>(port_));
    }
    simulator_.Command("model answers the end");
    std::string told = slow.ReadTo("model answers the end");
    const size_t end = told.find("model answers the end");
    ASSERT_NE(end, std::string::npos) << told.size();
    if (told.find("\n\n", end) == std::string::npos) {
        told += slow.ReadTo("\n\n");  // the number follows what happened
    }
    EXPECT_LT(told.size(), size_t{TEXTS} * 1900);  // it was told less, and how much less
    EXPECT_TRUE(std::regex_search(told, std::regex("\"merged\":[1-9]"))) << told.size();
}

TEST_F(ViewTest, TellsWhatAnApplicationDoesNotTake) {
    const auto stuck = Start("orvi-ai", "watch");
    simulator_.Await("clients 1");
    stuck->Signal(SIGSTOP);
    const std::regex lost("\"announced\":true,\"lost\":[1-9]");
    std::string state;
    for (int i = 0; i < 5000 && !std::regex_search(state, lost); ++i) {  // it may take some until it stands
        simulator_.Command("push assistant.mic --raw zeros:20000");
        state = Ask(Request("GET " + path_ + "state"));
    }
    EXPECT_TRUE(std::regex_search(state, lost)) << state;
    stuck->Signal(SIGKILL);
}

// An application has connections to several tasks, and few are left beside the pages.
TEST_F(ViewTest, FewDescriptorsAreEnoughForPagesAndAnApplication) {
    const rlimit few{64, 64};
    ASSERT_EQ(prlimit(simulator_.Child().Pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    std::list<Browser> pages;
    for (int i = 0; i < 8; ++i) {
        ASSERT_TRUE(pages.emplace_back(port_).Send(Request("GET " + path_ + "events")));
        EXPECT_NE(pages.back().ReadTo("data: ").find("data: "), std::string::npos);
    }
    for (int i = 0; i < 5; ++i) {
        std::string output;
        EXPECT_EQ(Run("orvi-ai", "lock state 1", output), 0) << output;
    }
}

TEST_F(ViewTest, IsOffUnlessItIsAskedFor) {
    simulator_.Kill();
    const std::string taken = std::to_string(port_);
    simulator_.Start({"--arrival", "0", "--view", taken});
    EXPECT_EQ(simulator_.Command("view").rfind("http://" + host_ + "/", 0), 0U);
    EXPECT_NE(simulator_.Command("view"), address_);  // another key
    std::string output;
    EXPECT_EQ(Run("orvi-room", "view", output), 0);
    EXPECT_EQ(Run("orvi-vision-sim", "--view " + taken, output), 1);
    EXPECT_NE(output.find("the page cannot be served at port " + taken + ": Address already in use"), std::string::npos)
        << output;
    EXPECT_EQ(Run("orvi-vision-sim", "--view 65536", output), 2);
    simulator_.Kill();
    simulator_.Start();
    EXPECT_EQ(simulator_.Ask("view"), "error nobody is shown the room: start orvi-vision-sim with --view");
}

}  // namespace
}  // namespace orvi_test
