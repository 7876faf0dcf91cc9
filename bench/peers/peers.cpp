#include "peer.h"
#include "sockets.h"

namespace bench {

extern const Peer kCapnp;
extern const Peer kGrpc;
extern const Peer kIceoryx;
extern const Peer kLibrary;
extern const Peer kSdBus;
extern const Peer kSharedMemory;
extern const Peer kZeroMq;

const std::vector<Peer>& Peers() {
    static const std::vector<Peer> peers = {
        kLibrary, kSeqpacket, kStream, kSharedMemory,
#ifdef BENCH_HAS_SD_BUS
        kSdBus,
#endif
#ifdef BENCH_HAS_ICEORYX
        kIceoryx,
#endif
#ifdef BENCH_HAS_ZEROMQ
        kZeroMq,
#endif
#ifdef BENCH_HAS_CAPNP
        kCapnp,
#endif
#ifdef BENCH_HAS_GRPC
        kGrpc,
#endif
    };
    return peers;
}

const char* PeersLeftOut() {
    return BENCH_LEFT_OUT;
}

}  // namespace bench
