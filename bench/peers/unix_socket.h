// One connection over an AF_UNIX socket in the place, for peers that bring a socket of their own.
#ifndef ORVI_BENCH_UNIX_SOCKET_H
#define ORVI_BENCH_UNIX_SOCKET_H

#include <functional>
#include <string>

namespace bench {

// Waits for the one connection; `type` as for socket(2).
int AcceptOne(const std::string& path, int type, const std::function<void()>& ready);
int ConnectTo(const std::string& path, int type);

}  // namespace bench

#endif
