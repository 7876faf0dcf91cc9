// Blocks that OsMsgSynSend gives away and OsMsgSynRespFree takes back.
#ifndef ORVI_HOST_OS_MSG_REPLY_BLOCK_H
#define ORVI_HOST_OS_MSG_REPLY_BLOCK_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "orvi_os_msg.h"
#include "wire/frame.h"

namespace orvi_bus {

// One allocation of the block and its payload, of exactly their size, so that a tool for memory faults sees a reader
// that goes one byte too far. Null when there is no memory.
TagMsgBlock* MakeReplyBlock(const FrameHeader& header, const uint8_t* payload, uint32_t senderUid);
// The same in the place where the frame was received, behind as many free bytes as the block takes of it.
size_t FreeBeforeReply();
TagMsgBlock* MakeReplyBlock(const FrameHeader& header, std::unique_ptr<uint8_t[], FrameReader::Free> received,
                            uint32_t senderUid);
void FreeReplyBlock(TagMsgBlock* block);
uint32_t OutstandingReplyBlocks();

}  // namespace orvi_bus

#endif
