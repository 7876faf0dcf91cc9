// For peers that carry bytes and nothing else: they say how a message goes and comes, and the exchange is the same.
#ifndef ORVI_BENCH_LINK_H
#define ORVI_BENCH_LINK_H

#include "peer.h"

namespace bench {

class Link {
 public:
    Link() = default;
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;
    virtual ~Link() = default;
    virtual void Put(const void* message, uint32_t size) = 0;
    // The next message, kMostBytes at most; returns its length. What `*message` names is valid until the next call.
    virtual uint32_t Get(const void** message) = 0;
};

// Serves until the link fails.
void ServeLink(Link* link);

std::unique_ptr<Client> ClientOf(std::unique_ptr<Link> link);

}  // namespace bench

#endif
