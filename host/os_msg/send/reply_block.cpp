#include "send/reply_block.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace orvi_bus {

namespace {

// The payload starts where any record may start.
constexpr size_t kPayloadOffset =
    (sizeof(TagMsgBlock) + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);

static_assert(kPayloadOffset >= kHeaderSize, "a block has no room for the header that it replaces");

std::atomic<uint32_t> g_outstanding{0};

TagMsgBlock* PutBlock(uint8_t* bytes, const FrameHeader& header, uint32_t senderUid) {
    memset(bytes, 0, kPayloadOffset);
    auto* block = reinterpret_cast<TagMsgBlock*>(bytes);
    block->senderUid = senderUid;
    block->msgId = header.msgId;
    if ((header.flags & kFlagNoData) == 0) {
        block->data = bytes + kPayloadOffset;
        block->dataLen = header.dataLen;
    }
    g_outstanding.fetch_add(1, std::memory_order_relaxed);
    return block;
}

}  // namespace

TagMsgBlock* MakeReplyBlock(const FrameHeader& header, const uint8_t* payload, uint32_t senderUid) {
    auto* bytes = static_cast<uint8_t*>(malloc(kPayloadOffset + header.dataLen));
    if (bytes == nullptr) {
        return nullptr;
    }
    if (header.dataLen != 0) {
        memcpy(bytes + kPayloadOffset, payload, header.dataLen);
    }
    return PutBlock(bytes, header, senderUid);
}

size_t FreeBeforeReply() {
    return kPayloadOffset - kHeaderSize;
}

TagMsgBlock* MakeReplyBlock(const FrameHeader& header, std::unique_ptr<uint8_t[], FrameReader::Free> received,
                            uint32_t senderUid) {
    return PutBlock(received.release(), header, senderUid);
}

void FreeReplyBlock(TagMsgBlock* block) {
    g_outstanding.fetch_sub(1, std::memory_order_relaxed);
    free(block);
}

uint32_t OutstandingReplyBlocks() {
    return g_outstanding.load(std::memory_order_relaxed);
}

}  // namespace orvi_bus
