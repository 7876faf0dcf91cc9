// What the bus writes into its own bytes of a delivered block, so that a copy of the block tells it too: the mark of a
// request, by which an answer finds its way back, and who sent the message.
#ifndef ORVI_HOST_OS_MSG_MESSAGE_TOKEN_H
#define ORVI_HOST_OS_MSG_MESSAGE_TOKEN_H

#include <cstdint>
#include <cstring>

#include "orvi_host_bus.h"
#include "orvi_os_msg.h"

namespace orvi_bus {

struct MessageToken {
    uint64_t connection = 0;  // Incoming::id
    uint32_t sequence = 0;    // 0: a one-way message
};

inline void PutToken(const MessageToken& token, TagMsgBlock* block) {
    static_assert(sizeof(block->bus8) == sizeof(token.connection) && sizeof(block->bus0) == sizeof(token.sequence));
    memcpy(block->bus8, &token.connection, sizeof(token.connection));
    memcpy(block->bus0, &token.sequence, sizeof(token.sequence));
}

inline MessageToken TokenOf(const TagMsgBlock& block) {
    MessageToken token;
    memcpy(&token.connection, block.bus8, sizeof(token.connection));
    memcpy(&token.sequence, block.bus0, sizeof(token.sequence));
    return token;
}

struct SenderMark {
    uint32_t mark = 0;
    OrviHostMsgSender sender{};
};
constexpr uint32_t kDelivered = 0x4F425331;

inline void PutSender(const OrviHostMsgSender& sender, TagMsgBlock* block) {
    static_assert(sizeof(block->bus88) >= sizeof(SenderMark));
    const SenderMark mark{kDelivered, sender};
    memcpy(block->bus88, &mark, sizeof(mark));
}

// False for a block that the bus has not delivered.
inline bool SenderOf(const TagMsgBlock& block, OrviHostMsgSender* sender) {
    SenderMark mark;
    memcpy(&mark, block.bus88, sizeof(mark));
    *sender = mark.sender;
    return mark.mark == kDelivered;
}

}  // namespace orvi_bus

#endif
