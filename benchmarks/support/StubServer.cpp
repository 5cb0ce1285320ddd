#include "benchmarks/support/StubServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace qx::bench {

namespace {

constexpr const char* sLength = "Content-Length: ";

/// One request's body, taken from the front of `received`; false when the peer has gone.
bool ReadRequest(int socket, string& received, string& body) {
  string room(65'536, ' ');
  while (true) {
    const size_t head = received.find("\r\n\r\n");
    if (head != string::npos) {
      const size_t length = received.find(sLength);
      const size_t size = length < head ? std::strtoul(received.c_str() + length + 16, nullptr, 10) : 0;
      if (received.size() >= head + 4 + size) {
        body = received.substr(head + 4, size);
        received.erase(0, head + 4 + size);
        return true;
      }
    }
    const ssize_t got = ::recv(socket, room.data(), room.size(), 0);
    if (got <= 0) return false;
    received.append(room, 0, static_cast<size_t>(got));
  }
}

bool SendAll(int socket, const string& text) {
  for (size_t sent = 0; sent < text.size();) {
    const ssize_t count = ::send(socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return false;
    sent += static_cast<size_t>(count);
  }
  return true;
}

}  // namespace

StubServer::StubServer(Answer answer, int thinkMs, int status)
    : mAnswer(std::move(answer)),
      mThinkMs(thinkMs),
      mStatusLine("HTTP/1.1 " + std::to_string(status) + " Fine\r\n"),
      mListener(::socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  if (::bind(mListener, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(mListener, 64) != 0 ||
      ::getsockname(mListener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("no stub server");
  }
  mPort = ntohs(address.sin_port);
  mAcceptor = std::thread([this] { accept(); });
}

StubServer::~StubServer() {
  mStop = true;
  ::shutdown(mListener, SHUT_RDWR);
  mAcceptor.join();
  ::close(mListener);
  for (const int socket : mSockets) ::shutdown(socket, SHUT_RDWR);
  for (std::thread& thread : mThreads) thread.join();
  for (const int socket : mSockets) ::close(socket);
}

void StubServer::accept() {
  while (!mStop) {
    const int socket = ::accept(mListener, nullptr, nullptr);
    if (socket < 0) return;
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    const std::lock_guard lock(mMutex);
    mSockets.push_back(socket);
    mThreads.emplace_back([this, socket] { serve(socket); });
  }
}

void StubServer::serve(int socket) {
  string received;
  string body;
  while (ReadRequest(socket, received, body)) {
    const auto due = std::chrono::steady_clock::now() + std::chrono::milliseconds(mThinkMs);
    const string answer = mAnswer(body);
    std::this_thread::sleep_until(due);
    const string head =
        mStatusLine + "Content-Type: application/json\r\nContent-Length: " + std::to_string(answer.size()) + "\r\n\r\n";
    if (!SendAll(socket, head + answer)) return;
  }
}

vector<string> ReadIds(const string& body) {
  vector<string> ids;
  const size_t end = body.find("\"]");
  for (size_t at = body.rfind('[', end); at < end;) {
    const size_t from = body.find('"', at) + 1;
    at = body.find('"', from);
    ids.push_back(body.substr(from, at - from));
    if (at == end) break;
    ++at;
  }
  return ids;
}

string DocumentMembers(const string& id) {
  static const string sText(700, 'x');
  return R"("id":")" + id +
         R"(","type":"t","name":"a name","count":17,"tags":["one","two","three"],)"
         R"("nested":{"a":1,"b":{"c":true}},"text":")" +
         sText + "\"";
}

}  // namespace qx::bench
