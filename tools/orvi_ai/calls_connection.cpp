// Connection, version, ability; and what the commands share.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <unistd.h>

#include "calls.h"

namespace orvi_ai {

using orvi_protocol::JsonString;

Outcome AppInit(Session& session, const Call&) {
    Outcome outcome;
    outcome.isNobodyThere = !(session.IsConnected() ? session.Announce() : session.Connect());
    outcome.result = outcome.isNobodyThere ? -1 : 0;
    return outcome;
}

Outcome AppDeinit(Session& session, const Call&) {
    return Returned(session.Disconnect());
}

Outcome Version(Session&, const Call&) {
    char version[64] = {};
    Outcome outcome;
    outcome.result = OrviAiSrvGetVersion(version, sizeof(version));
    outcome.text = std::string(version) + "\n";
    outcome.json = "{\"version\":" + JsonString(version) + "}";
    return outcome;
}

Outcome Ability(Session&, const Call&) {
    tagOrviAiAbility ability{};
    Outcome outcome;
    outcome.result = OrviAiSrvGetAbility(&ability);
    ShowNumbers({{"speakTrack", ability.isSpeakTrackSupported},
                 {"autoFrame", ability.isAutoFrameSupported},
                 {"splitScreen", ability.isSplitScreenSupported},
                 {"director", ability.isDirectorSupported},
                 {"fastDirector", ability.isFastDirectorSupported},
                 {"sign", ability.isSignSupported},
                 {"nameplate", ability.isNamePlateSupported},
                 {"voiceAssistant", ability.isVoiceAssistSupported},
                 {"caption", ability.isCaptionSupported},
                 {"faceDetector", ability.isFaceDetectorSupported},
                 {"minutesSignature", ability.isMinutesSignature},
                 {"cloudModel", ability.isTzCloudLLM}},
                outcome);
    return outcome;
}

void ShowReply(Session& session, const orvi_protocol::Record* record, const void* data, size_t length,
               Outcome& outcome) {
    const orvi_protocol::Decoded decoded = orvi_protocol::Decode(record, data, length);
    orvi_protocol::Style style = session.Out().Style();
    outcome.text += ToTable(decoded, style);
    outcome.json = ToJson(decoded, style);
}

void ShowNumbers(const std::vector<NamedNumber>& numbers, Outcome& outcome) {
    size_t width = 0;
    for (const NamedNumber& one : numbers) {
        width = std::max(width, std::strlen(one.name));
    }
    for (const NamedNumber& one : numbers) {
        const std::string name = one.name;
        const std::string number = std::to_string(one.number);
        outcome.text.append("  ").append(name).append(width - name.size() + 2, ' ').append(number).append("\n");
        outcome.json.append(outcome.json.empty() ? "{" : ",").append(JsonString(name)).append(":").append(number);
    }
    outcome.json += "}";
}

bool WriteFile(const std::string& path, const void* data, size_t length, std::string& error) {
    FILE* const file = std::fopen(path.c_str(), "wbe");
    const bool isWritten = file != nullptr && std::fwrite(data, 1, length, file) == length;
    const int reason = errno;
    const bool isClosed = file != nullptr && std::fclose(file) == 0;
    if (!isWritten || !isClosed) {
        error = path + ": " + std::strerror(isWritten ? errno : reason);
    }
    return isWritten && isClosed;
}

bool IsReadable(const std::string& path) {
    std::error_code error;
    return access(path.c_str(), R_OK) == 0 && !std::filesystem::is_directory(path, error);
}

const char* ExtensionOf(const void* data, size_t length) {
    static constexpr unsigned char PNG[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return length >= sizeof(PNG) && std::memcmp(data, PNG, sizeof(PNG)) == 0 ? "png" : "bin";
}

}  // namespace orvi_ai
