#include "service/play_log.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "log.h"
#include "value.h"

namespace orvi_sim {
namespace {

constexpr size_t WIDTH = 300;  // of the fields of a message

std::string NameOfMessage(const orvi_protocol::Message* message, uint32_t id) {
    if (message != nullptr) {
        return std::string(message->name);
    }
    char number[16];
    std::snprintf(number, sizeof(number), "%#x", id);
    return number;
}

}  // namespace

PlayLog::~PlayLog() {
    if (descriptor_ > STDERR_FILENO) {
        (void)close(descriptor_);
    }
}

bool PlayLog::Open(const std::string& path, bool goesOn) {
    descriptor_ =
        path == "-"
            ? STDOUT_FILENO
            : open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK | (goesOn ? 0 : O_TRUNC), 0644);
    return descriptor_ >= 0;
}

// Each line at once: a service that dies as it was told has written all that came before.
void PlayLog::Write(Time at, const std::string& text) {
    char time[32];
    const auto count = static_cast<long long>(at.count());
    std::snprintf(time, sizeof(time), "%9lld.%03lld ", count / 1000, count % 1000);
    const std::string line = time + text + "\n";
    for (size_t written = 0; written < line.size();) {
        pollfd room{descriptor_, POLLOUT, 0};
        const int ready = poll(&room, 1, static_cast<int>(PATIENCE.count()));
        // So much a pipe with room takes at once.
        const ssize_t size =
            ready > 0 ? write(descriptor_, line.data() + written, std::min<size_t>(line.size() - written, PIPE_BUF))
                      : -1;
        if (ready == 0 || (size < 0 && errno != EINTR)) {
            Log("the log of the play ends here: %s", ready == 0 ? "its reader takes nothing" : std::strerror(errno));
            if (descriptor_ != STDOUT_FILENO) {
                (void)close(descriptor_);
            }
            descriptor_ = -1;
            isBroken_ = true;
            return;
        }
        written += size > 0 ? static_cast<size_t>(size) : 0;
    }
}

std::string PlayLog::NameOf(const ApplicationId& application) {
    std::string& name = names_[application];
    if (name.empty()) {
        name = "app" + std::to_string(names_.size());
    }
    return name;
}

void PlayLog::Directed(Time at, const std::string& line) {
    if (IsOpen()) {
        Write(at, "room: " + orvi_protocol::Printable(line));
    }
}

void PlayLog::Asked(Time at, const Request& request, const std::string& ending, bool /*hasFault*/,
                    const Payload* /*reply*/) {
    const orvi_protocol::Message* const message = orvi_protocol::FindMessage(request.id, true);
    if (!IsOpen() || (message != nullptr && message->name.rfind("app.", 0) == 0)) {
        return;
    }
    orvi_protocol::Decoded decoded =
        orvi_protocol::Decode(message != nullptr ? message->payload : nullptr, request.data, request.length);
    // Who asks is said already, and its address holds the number of its process.
    decoded.values.erase(
        std::remove_if(decoded.values.begin(), decoded.values.end(),
                       [](const orvi_protocol::Value& value) { return value.field->name == "client"; }),
        decoded.values.end());
    const std::string fields = orvi_protocol::ToLine(decoded, {}, WIDTH);
    Write(at, NameOf(request.sender) + " " + NameOfMessage(message, request.id) + (fields.empty() ? "" : " ") + fields +
                  ": " + ending);
}

void PlayLog::Told(Time at, const ApplicationId& application, uint32_t id, const SharedPayload& payload,
                   const char* ending) {
    if (!IsOpen()) {
        return;
    }
    const orvi_protocol::Message* const message = orvi_protocol::FindMessage(id, false);
    const std::string fields = orvi_protocol::ToLine(
        orvi_protocol::Decode(message != nullptr ? message->payload : nullptr, payload->data(), payload->size()), {},
        WIDTH);
    Write(at, "  to " + NameOf(application) + " " + NameOfMessage(message, id) + (fields.empty() ? "" : " ") + fields +
                  (*ending != '\0' ? std::string(": ") + ending : ""));
}

}  // namespace orvi_sim
