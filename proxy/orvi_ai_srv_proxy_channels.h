// What every request is built from: this client's address, and message blocks addressed to the service's tasks.
#ifndef ORVI_AI_SRV_PROXY_CHANNELS_H
#define ORVI_AI_SRV_PROXY_CHANNELS_H

#include <cstddef>
#include <cstdint>

#include "orvi_os_msg.h"
#include "wire_records.h"

namespace OrviAiService {

// Wait times in milliseconds; 0 stands for the bus's own limit.
constexpr uint32_t WAIT_REPLY = 3000;
constexpr uint32_t WAIT_BUS_LIMIT = 0;

// A task of the service process; `size` counts the name's NUL.
struct ReceiverTask {
    const char* name;
    size_t size;
};
constexpr ReceiverTask TASK_MASTER = {"ai_v_task_m", sizeof("ai_v_task_m")};
constexpr ReceiverTask TASK_INTERFACE = {"ai_v_task_i", sizeof("ai_v_task_i")};
constexpr ReceiverTask TASK_OM = {"ai_om_task", sizeof("ai_om_task")};
constexpr ReceiverTask TASK_FACE = {"ai_face_task", sizeof("ai_face_task")};

enum class Addressing { DONE, PROC_FAILED, TASK_FAILED };

// Clears the block and addresses it to a task of the service. Logs nothing: each channel has words of its own.
[[nodiscard]] Addressing AddressToService(TagMsgBlock& block, const ReceiverTask& task);

// The same with the log line of a channel on failure; 0 or -1.
int SetDefaultMsgBlockToMaster(TagMsgBlock& block);
int SetDefaultIntefMsgBlockToMaster(TagMsgBlock& block);

// The same with a log line that tells which name failed, under the name `sender`; 0 or -1.
int AddressRequest(TagMsgBlock& block, const ReceiverTask& task, const char* sender);

// One short pause while the service is down; the request is made all the same.
void PauseIfServiceDown();

// Fills in a request's payload; the block points to it, the bus copies it while sending.
void SetRequest(TagMsgBlock& block, uint32_t msgId, const void* data, uint32_t len);

// A reply counts only when it carries data: releases one that came without, and clears the slot.
[[nodiscard]] bool HasData(TagMsgBlock** reply);

// Clears the record and fills it with this client's address. Logs nothing.
[[nodiscard]] Addressing FillClientAddress(tagAiTaskBasicInfo& info);

// The same with log lines on failure; 0 or -1.
int SetStAiTaskBasicInfo(tagAiTaskBasicInfo& info);

}  // namespace OrviAiService

#endif
