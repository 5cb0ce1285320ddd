#include "benchmarks/support/StubServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace qx::bench {

namespace {

constexpr const char* sLength = "Content-Length: ";

bool SendAll(int socket, const string& text) {
  for (size_t sent = 0; sent < text.size();) {
    const ssize_t count = ::send(socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return false;
    sent += static_cast<size_t>(count);
  }
  return true;
}

bool ReceiveMore(int socket, string& received) {
  thread_local string sRoom(65'536, ' ');
  const ssize_t got = ::recv(socket, sRoom.data(), sRoom.size(), 0);
  if (got <= 0) return false;
  received.append(sRoom, 0, static_cast<size_t>(got));
  return true;
}

/// libcurl asks before it sends a body of more than a mebibyte, and waits for a second when nobody answers.
bool InviteBody(int socket, const string& head) {
  return head.find("Expect: 100-continue") == string::npos || SendAll(socket, "HTTP/1.1 100 Continue\r\n\r\n");
}

/// One request, taken from the front of `received`; false when the peer has gone.
bool ReadRequest(int socket, string& received, string& head, string& body) {
  size_t end = received.find("\r\n\r\n");
  for (; end == string::npos; end = received.find("\r\n\r\n")) {
    if (!ReceiveMore(socket, received)) return false;
  }
  head = received.substr(0, end);
  received.erase(0, end + 4);
  const size_t length = std::min(head.find(sLength), head.find("content-length: "));
  const size_t size = length == string::npos ? 0 : std::strtoul(head.c_str() + length + 16, nullptr, 10);
  if (received.size() < size && !InviteBody(socket, head)) return false;
  while (received.size() < size) {
    if (!ReceiveMore(socket, received)) return false;
  }
  body = received.substr(0, size);
  received.erase(0, size);
  return true;
}

StubServer::WholeAnswer AfterThinking(StubServer::Answer answer, int thinkMs, int status) {
  return [answer = std::move(answer), thinkMs, status](const string&, const string& body) {
    const auto due = std::chrono::steady_clock::now() + std::chrono::milliseconds(thinkMs);
    string whole = ComposeAnswer(status, answer(body));
    std::this_thread::sleep_until(due);
    return whole;
  };
}

}  // namespace

StubServer::StubServer(Answer answer, int thinkMs, int status)
    : StubServer(AfterThinking(std::move(answer), thinkMs, status)) {}

StubServer::StubServer(WholeAnswer answer) : mAnswer(std::move(answer)), mListener(::socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  if (::bind(mListener, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(mListener, SOMAXCONN) != 0 ||
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
  string head;
  string body;
  while (ReadRequest(socket, received, head, body)) {
    if (!SendAll(socket, mAnswer(head, body))) return;
  }
}

string ComposeAnswer(int status, const string& body, const string& headers) {
  return "HTTP/1.1 " + std::to_string(status) + " Fine\r\nContent-Type: application/json\r\n" + headers + sLength +
         std::to_string(body.size()) + "\r\n\r\n" + body;
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
