#include "netweft/base/system/qxStringUtils.h"
#include "netweft/icmp/internal/EchoService.h"

// Before windows.h, which would bring the older winsock.h.
#include "netweft/addressing/internal/Sockets.h"
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// Each uses types of the one before it.
#include <iphlpapi.h>

#include <icmpapi.h>

#include <utility>

namespace qx::impl {

namespace {

/// Room for one reply with our data and what IP Helper keeps behind it.
constexpr DWORD sReplySizeV4 = 80;
constexpr DWORD sReplySizeV6 = 76;
constexpr unsigned char sDontFragment = 2;
constexpr DWORD sEnglish = 1033;
constexpr DWORD sDefaultLanguage = 0;

/// ICMPV6_ECHO_REPLY, which MinGW's headers lack.
struct EchoReplyV6 {
  unsigned char address[26];
  ULONG status;
  ULONG roundTripMs;
};
static_assert(sizeof(EchoReplyV6) == 36);

struct EventCloser {
  using pointer = HANDLE;
  void operator()(HANDLE event) const noexcept { CloseHandle(event); }
};
using Event = std::unique_ptr<HANDLE, EventCloser>;

/// The system names a failure by a value that is not null.
struct IcmpHandle {
  IcmpHandle() = default;
  explicit IcmpHandle(HANDLE opened) noexcept : value(opened) {}
  IcmpHandle(IcmpHandle&& other) noexcept : value(std::exchange(other.value, INVALID_HANDLE_VALUE)) {}
  IcmpHandle& operator=(IcmpHandle&& other) noexcept {
    std::swap(value, other.value);
    return *this;
  }
  ~IcmpHandle() {
    if (isOpen()) IcmpCloseHandle(value);
  }

  bool isOpen() const noexcept { return value != INVALID_HANDLE_VALUE; }

  HANDLE value = INVALID_HANDLE_VALUE;
};

/// What both families share. Members die in reverse: the handle first, which cancels the echo, then what it uses.
class EchoWindows : public Echo {
 public:
  EchoWindows(Event event, IcmpHandle handle, DWORD replySize)
      : mReplies(replySize), mEvent(std::move(event)), mHandle(std::move(handle)) {}

  uint32 send(const EchoOptions& options) override {
    IP_OPTION_INFORMATION ipOptions{};
    ipOptions.Ttl = static_cast<UCHAR>(options.timeToLive);
    ipOptions.Flags = sDontFragment;
    if (sendEcho(ipOptions, options.timeoutMs) != 0) return 0;
    const DWORD error = GetLastError();
    return error == ERROR_IO_PENDING ? 0 : static_cast<uint32>(error);
  }

  bool takeCompletion() override {
    if (WaitForSingleObject(mEvent.get(), 0) != WAIT_OBJECT_0) return false;
    ResetEvent(mEvent.get());
    return true;
  }

  HANDLE getEvent() const noexcept { return mEvent.get(); }

 protected:
  virtual DWORD sendEcho(IP_OPTION_INFORMATION& options, DWORD timeoutMs) = 0;

  void* editReplies() noexcept { return mReplies.data(); }
  DWORD getRepliesSize() const noexcept { return static_cast<DWORD>(mReplies.size()); }
  HANDLE getHandle() const noexcept { return mHandle.value; }

  EchoPayload mRequest = sEchoPayload;

 private:
  bytes mReplies;
  Event mEvent;
  IcmpHandle mHandle;
};

class EchoWindowsV4 final : public EchoWindows {
 public:
  EchoWindowsV4(Event event, IcmpHandle handle, const sockaddr_in& target)
      : EchoWindows(std::move(event), std::move(handle), sReplySizeV4), mTarget(target) {}

  uint32 parseReplies(EchoReply& reply) override {
    const DWORD count = IcmpParseReplies(editReplies(), getRepliesSize());
    const auto* first = static_cast<const ICMP_ECHO_REPLY*>(editReplies());
    if (count > 0) reply = {static_cast<uint32>(first->Status), static_cast<uint32>(first->RoundTripTime)};
    return static_cast<uint32>(count);
  }

 private:
  DWORD sendEcho(IP_OPTION_INFORMATION& options, DWORD timeoutMs) override {
    return IcmpSendEcho2(getHandle(), getEvent(), nullptr, nullptr, mTarget.sin_addr.s_addr, mRequest.data(),
                         static_cast<WORD>(mRequest.size()), &options, editReplies(), getRepliesSize(), timeoutMs);
  }

  sockaddr_in mTarget;
};

class EchoWindowsV6 final : public EchoWindows {
 public:
  EchoWindowsV6(Event event, IcmpHandle handle, const sockaddr_in6& target)
      : EchoWindows(std::move(event), std::move(handle), sReplySizeV6), mTarget(target) {
    mSource.sin6_family = AF_INET6;
  }

  uint32 parseReplies(EchoReply& reply) override {
    const DWORD count = Icmp6ParseReplies(editReplies(), getRepliesSize());
    const auto* first = static_cast<const EchoReplyV6*>(editReplies());
    if (count > 0) reply = {static_cast<uint32>(first->status), static_cast<uint32>(first->roundTripMs)};
    return static_cast<uint32>(count);
  }

 private:
  DWORD sendEcho(IP_OPTION_INFORMATION& options, DWORD timeoutMs) override {
    return Icmp6SendEcho2(getHandle(), getEvent(), nullptr, nullptr, &mSource, &mTarget, mRequest.data(),
                          static_cast<WORD>(mRequest.size()), &options, editReplies(), getRepliesSize(), timeoutMs);
  }

  sockaddr_in6 mSource{};
  sockaddr_in6 mTarget;
};

/// Empty when the system has no text in that language.
string LookUpErrorText(uint32 code, DWORD language) {
  char* text = nullptr;
  const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  const DWORD size = FormatMessageA(flags, nullptr, code, language, reinterpret_cast<char*>(&text), 0, nullptr);
  if (size == 0) return {};
  string result = qxStringUtils::convertCharset(string(text, size), qxStringUtils::CS_Local, qxStringUtils::CS_Utf8);
  LocalFree(text);
  result.erase(result.find_last_not_of("\r\n") + 1);
  return result;
}

class EchoServiceWindows final : public EchoService {
 public:
  EchoOpening open(const IpAddress& target, unique_ptr<Echo>& echo) override {
    Event event(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    if (event == nullptr) return EchoOpening::NoEvent;
    if (const sockaddr_in* v4 = target.getIPv4Sockaddr()) {
      return adopt<EchoWindowsV4>(std::move(event), IcmpHandle(IcmpCreateFile()), *v4, echo);
    }
    if (const sockaddr_in6* v6 = target.getIPv6Sockaddr()) {
      return adopt<EchoWindowsV6>(std::move(event), IcmpHandle(Icmp6CreateFile()), *v6, echo);
    }
    return EchoOpening::UnsupportedType;
  }

  /// More handles than one wait takes make it return at once; every echo is looked at all the same.
  void wait(const vector<Echo*>& pending, uint32 limitMs) override {
    vector<HANDLE> events;
    events.reserve(pending.size());
    for (const Echo* echo : pending) events.push_back(static_cast<const EchoWindows&>(*echo).getEvent());
    WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE, limitMs);
  }

  string getErrorText(uint32 code) const override {
    const string english = LookUpErrorText(code, sEnglish);
    return english.empty() ? LookUpErrorText(code, sDefaultLanguage) : english;
  }

 private:
  template <class EchoOfFamily, class Address>
  static EchoOpening adopt(Event event, IcmpHandle handle, const Address& target, unique_ptr<Echo>& echo) {
    if (!handle.isOpen()) return EchoOpening::NoHandle;
    echo = std::make_unique<EchoOfFamily>(std::move(event), std::move(handle), target);
    return EchoOpening::Opened;
  }
};

}  // namespace

unique_ptr<EchoService> CreateEchoService() { return std::make_unique<EchoServiceWindows>(); }

}  // namespace qx::impl
