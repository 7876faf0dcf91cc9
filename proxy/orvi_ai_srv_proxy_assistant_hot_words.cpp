// Hot words of the voice assistant: texts that begin with a key made of the application's id.
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "bounded_text.h"
#include "client_log.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_securec.h"
#include "request_rows.h"

namespace OrviAiService {
namespace {

using AppId = BoundedText<sizeof(tagOrviAppInfo::appId)>;

// A hot-word text and its NUL, which counts in `size`.
struct HotWordText {
    std::unique_ptr<char[]> bytes;
    uint32_t size = 0;
};

enum class Building { DONE, NO_MEMORY, COPY_FAILED };

// Builds the registration text, prefix and id, or with `words` the update text: prefix, id, ':' and words. The size
// counts all of the words; what stands behind a NUL in them stays zero.
Building BuildText(HotWordText& text, const AppId& appId, const std::string* words) {
    constexpr char PREFIX[] = "param_hot_word_";
    struct Part {
        const char* text;
        size_t length;
    };
    const Part parts[] = {
        {PREFIX, sizeof(PREFIX) - 1},
        {appId.Text(), appId.Length()},
        {":", words != nullptr ? 1U : 0U},
        {words != nullptr ? words->data() : "", words != nullptr ? words->size() : 0U},
    };
    uint64_t size = 1;
    for (const Part& part : parts) {
        size += part.length;
    }
    if (size > UINT32_MAX) {
        return Building::NO_MEMORY;
    }
    text.size = static_cast<uint32_t>(size);
    text.bytes.reset(new (std::nothrow) char[text.size]());
    if (text.bytes == nullptr) {
        return Building::NO_MEMORY;
    }
    size_t used = 0;
    for (const Part& part : parts) {
        if (part.length != 0 && strncpy_s(&text.bytes[used], text.size - used, part.text, part.length) != 0) {
            return Building::COPY_FAILED;
        }
        used += part.length;
    }
    return Building::DONE;
}

const Request& UpdateRequest(OrviAiHotwordUpdateType type) {
    switch (static_cast<int32_t>(type)) {
        case ORVI_AI_HOTWORD_UPDATE_TYPE1:
            return Requests::UPDATE_KEY_WORD_TYPE1;
        case ORVI_AI_HOTWORD_UPDATE_TYPE2:
            return Requests::UPDATE_KEY_WORD_TYPE2;
        default:
            return Requests::UPDATE_KEY_WORD;
    }
}

int SendMsgToVisionAssistantHotword(const Request& row, const HotWordText& text) {
    Request request = row;
    request.length = text.size;
    ORVI_LOG_STORM("SendMsgToVisionAssistantHotword msgId %d, msgDataLen %d", request.msgId, request.length);
    ORVI_LOG_INFO("SendMsgToVisionAssistantHotword msgId %d, msgDataLen %d", request.msgId, request.length);
    return Transact(request, text.bytes.get());
}

}  // namespace

int AiSrvServiceProxy::AssistantInitKeyWord(tagOrviAppInfo appInfo) {
    const AppId appId(appInfo.appId);
    if (!appId.IsTerminated()) {
        ORVI_LOG_ERROR("<AssistantInitKeyWord> appid is not terminated, appId[%s]", appId.Text());
        return -1;
    }
    if (std::strchr(appId.Text(), ':') != nullptr) {
        ORVI_LOG_ERROR("<AssistantInitKeyWord> appid cannot include the ':', appId[%s]", appId.Text());
        return -1;
    }
    HotWordText text;
    switch (BuildText(text, appId, nullptr)) {
        case Building::NO_MEMORY:
            ORVI_LOG_ERROR("<AssistantInitKeyWord> failed: no memory for the key. appId[%s]", appId.Text());
            return -1;
        case Building::COPY_FAILED:
            ORVI_LOG_ERROR("<AssistantInitKeyWord> failed: call strncpy_s failed. appId[%s]", appId.Text());
            return -1;
        case Building::DONE:
            break;
    }
    if (SendMsgToVisionAssistantHotword(Requests::INIT_KEY_WORD, text) != 0) {
        ORVI_LOG_ERROR("<AssistantInitKeyWord> SendSynMsg failed. appId[%s]", appId.Text());
        return -1;
    }
    return 0;
}

int AiSrvServiceProxy::AssistantUpdateKeyWord(tagOrviAppInfo appInfo, OrviAiHotwordUpdateType type,
                                              std::string& words) {
    const AppId appId(appInfo.appId);
    const int typeNumber = static_cast<int>(type);
    ORVI_LOG_INFO("<AssistantUpdateKeyWord> enter, type[%d], appId[%s]", typeNumber, appId.Text());
    const Request& request = UpdateRequest(type);
    if (!appId.IsTerminated()) {
        ORVI_LOG_ERROR("<AssistantUpdateKeyWord> appid is not terminated, type[%d], appId[%s]", typeNumber,
                       appId.Text());
        return -1;
    }
    if (std::strchr(appId.Text(), ':') != nullptr) {
        ORVI_LOG_ERROR("<AssistantUpdateKeyWord> appid cannot include the ':', type[%d], appId[%s]", typeNumber,
                       appId.Text());
        return -1;
    }
    HotWordText text;
    switch (BuildText(text, appId, &words)) {
        case Building::NO_MEMORY:
            ORVI_LOG_ERROR("<AssistantUpdateKeyWord> failed: no memory for the key. type[%d], appId[%s]", typeNumber,
                           appId.Text());
            return -1;
        case Building::COPY_FAILED:
            ORVI_LOG_ERROR("<AssistantUpdateKeyWord> failed: call strncpy_s failed. type[%d], appId[%s]", typeNumber,
                           appId.Text());
            return -1;
        case Building::DONE:
            break;
    }
    if (SendMsgToVisionAssistantHotword(request, text) != 0) {
        ORVI_LOG_ERROR("<AssistantUpdateKeyWord> SendSynMsg failed. msgId[0x%x], type[%d], appId[%s]", request.msgId,
                       typeNumber, appId.Text());
        return -1;
    }
    ORVI_LOG_INFO("<AssistantUpdateKeyWord> out, type[%d], appId[%s]", typeNumber, appId.Text());
    return 0;
}

}  // namespace OrviAiService
