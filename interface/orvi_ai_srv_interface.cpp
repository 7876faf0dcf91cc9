// The exported functions of the vision service: check, log, one call of the proxy, map the result.
#include "client_log.h"
#include "orvi_ai_srv.h"
#include "orvi_ai_srv_proxy.h"
#include "orvi_os_msg.h"

using OrviAiService::AiSrvServiceProxy;

// --- Connection ---

int OrviAiSrvApiInit(tagOrviAppInfo appInfo, OrviAiMainCallback callback) {
    constexpr uint32_t BUS_LOG_LEVEL = 3;
    ORVI_LOG_INFO("<OrviAiSrvApiInit> init request begin.");
    if (callback == nullptr) {
        ORVI_LOG_ERROR("<OrviAiSrvApiInit> callback is nullptr");
        return -1;
    }
    (void)OsMsgRegLogFunc(nullptr);
    (void)OsMsgSetLogLevel(BUS_LOG_LEVEL);
    if (AiSrvServiceProxy::GetInstance().Initiate(appInfo, callback) != 0) {
        ORVI_LOG_ERROR("<OrviAiSrvApiInit> init request failed.");
        return -1;
    }
    ORVI_LOG_INFO("<OrviAiSrvApiInit> succeed.");
    return 0;
}

int OrviAiSrvApiDeinit() {
    ORVI_LOG_INFO("<OrviAiSrvApiDeInit> deinit request begin.");
    if (AiSrvServiceProxy::GetInstance().UnInitiate() != 0) {
        ORVI_LOG_ERROR("<OrviAiSrvApiDeInit> failed: call UnInitiate failed.");
        return -1;
    }
    ORVI_LOG_INFO("<OrviAiSrvApiDeInit> succeed.");
    return 0;
}

// --- Face detection ---

// --- Captions ---

// --- Nameplates, director, lock state ---

// --- Check-in ---

// --- Signature and minutes ---

// --- Version and ability ---

// --- Large model ---
