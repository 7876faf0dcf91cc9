// The mark of a request in the bus's own bytes of a received block: by it an answer finds its way back, from a copy of
// the block too.
#ifndef ORVI_HOST_OS_MSG_MESSAGE_TOKEN_H
#define ORVI_HOST_OS_MSG_MESSAGE_TOKEN_H

#include <cstdint>
#include <cstring>

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

}  // namespace orvi_bus

#endif
