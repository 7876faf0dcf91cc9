#ifndef ORVI_BENCH_SOCKETS_H
#define ORVI_BENCH_SOCKETS_H

#include "peer.h"

namespace bench {
extern const Peer kSeqpacket;
extern const Peer kStream;
}  // namespace bench

#endif
