// Ownership of a reply block of the bus: adopt it on the line after a send that returned 0.
#ifndef ORVI_PROXY_REPLY_BLOCK_H
#define ORVI_PROXY_REPLY_BLOCK_H

#include <memory>

#include "orvi_os_msg.h"

namespace OrviAiService {

struct ReplyFree {
    void operator()(TagMsgBlock* reply) const noexcept { (void)OsMsgSynRespFree(reply); }
};
using ReplyPtr = std::unique_ptr<TagMsgBlock, ReplyFree>;

// The service's verdict, the first byte of the reply's data: 0 = success. -1 when the reply is empty.
inline int Verdict(const TagMsgBlock& reply) {
    return reply.dataLen == 0 ? -1 : *static_cast<const unsigned char*>(reply.data);
}

}  // namespace OrviAiService

#endif
