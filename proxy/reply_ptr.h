// Ownership of a reply block of the bus: adopt it on the line after a send that returned 0.
#ifndef ORVI_PROXY_REPLY_PTR_H
#define ORVI_PROXY_REPLY_PTR_H

#include <memory>

#include "orvi_os_msg.h"

namespace OrviAiService {

struct ReplyFree {
    void operator()(TagMsgBlock* reply) const noexcept { (void)OsMsgSynRespFree(reply); }
};
using ReplyPtr = std::unique_ptr<TagMsgBlock, ReplyFree>;

}  // namespace OrviAiService

#endif
