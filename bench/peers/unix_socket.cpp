#include "unix_socket.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "peer.h"

namespace bench {

namespace {
sockaddr_un AddressOf(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    Check(path.size() < sizeof(address.sun_path), "the directory's path is too long for a socket");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}
}  // namespace

int AcceptOne(const std::string& path, int type, const std::function<void()>& ready) {
    const sockaddr_un address = AddressOf(path);
    const int listener = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    Check(listener >= 0 && bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
              listen(listener, 1) == 0,
          "cannot listen");
    ready();
    const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    Check(connection >= 0, "cannot accept");
    (void)close(listener);
    return connection;
}

int ConnectTo(const std::string& path, int type) {
    const sockaddr_un address = AddressOf(path);
    const int connection = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    Check(connection >= 0 && connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0,
          "cannot connect");
    return connection;
}

}  // namespace bench
