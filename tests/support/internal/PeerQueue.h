#pragma once

#include <asio/ip/tcp.hpp>

namespace qx::test {

/// True when all that was sent on this socket of a loopback connection has been read by the program at its other end,
/// and also when that end is gone. The kernel is asked for the other end's socket by its address pair.
bool HasPeerReadAll(asio::ip::tcp::socket& socket);

}  // namespace qx::test
