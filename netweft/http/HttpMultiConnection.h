#pragma once

#include "netweft/addressing/Url.h"
#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/http/ConnectionParameters.h"

namespace qx::http {

/// Runs many HTTP requests at once from one thread that never blocks for long. The caller queues requests and pumps
/// with `updateConnection`; each finished request comes back through one call of the completion callback. A fixed
/// number of transfer slots, built with the object, bounds how many run at the same time, and keeps their TCP
/// connections open from request to request.
///
/// Requests leave in the order in which they were added; with several slots they may finish in any order. Nothing
/// happens between two pumps: who stops pumping stops the transfers.
///
/// All of it, construction and destruction included, is for one thread at a time, and the callback runs on it. The
/// library must be initialised. Failed requests throw nothing; std::bad_alloc (behind the completion of the request
/// that it hit) and what the completion callback throws leave `updateConnection`, and the object stays usable.
class NETWEFT_EXPORT HttpMultiConnection {
 public:
  /// The verbs.
  enum Method : int32 {
    M_Get = 0,     ///< GET
    M_Post = 1,    ///< POST
    M_Head = 2,    ///< HEAD
    M_Put = 3,     ///< PUT: sent chunked, and a redirect cannot send the body again: the request then fails
    M_Delete = 4,  ///< DELETE
  };

  /// What a caller wants done once.
  struct Request {
    /// Where it goes.
    qx::Url url{qx::Url::CS_DefaultHttp};
    /// One of `Method`; any other number fails with "Setup error".
    int32 method = M_Get;
    /// Sent with POST and PUT alone.
    vector<char> body;
    /// Handed back to the completion callback; stays the caller's.
    void* userData = nullptr;
  };

  /// Called once for each request that was started, from inside `updateConnection`. `httpCode` is the status, whatever
  /// it is, and `errorText` is empty; or -1 when there was no complete answer, and `errorText` says why: "Curl error
  /// <number> <text>", or "Setup error" for a request that could not be started. `headers` has the keys in lower case
  /// and string values, of a repeated header the last; the status line is a key of its own. `content` is the body: the
  /// callback may take its bytes, but what it takes has the slot's 256 KiB of capacity. All references end with the
  /// call.
  ///
  /// The callback may add requests, cancel, and change callback, headers and parameters. It must not destroy the
  /// object; a call of `updateConnection` from inside it does nothing.
  using CompletionCallback = void (*)(HttpMultiConnection& connection, long httpCode, const string& errorText,
                                      const qxVariantMapImpl& headers, vector<char>& content, void* completionContext,
                                      void* requestUserData);

  /// `maxConcurrent`: how many requests run at once; under 1 counts as 1.
  explicit HttpMultiConnection(int maxConcurrent);
  HttpMultiConnection(const HttpMultiConnection&) = delete;
  HttpMultiConnection& operator=(const HttpMultiConnection&) = delete;
  /// Drops running and queued requests without a completion.
  ~HttpMultiConnection();

  /// Takes the request out of the pointer and queues it; it starts inside a later `updateConnection`. A null pointer is
  /// ignored.
  void addRequest(unique_ptr<Request>& request);

  /// The pump: starts queued requests, moves bytes, completes what is finished. Returns as soon as nothing moves, after
  /// at most some 15 milliseconds of waiting, and otherwise after about `maxDurationMs` milliseconds; 0 or less is one
  /// pass.
  void updateConnection(int maxDurationMs);

  /// Drops every queued request: those get no completion. With `queuedOnly` false running transfers are cancelled too:
  /// each ends, and completes with -1, at its next header, body or read callback while somebody pumps. A transfer in
  /// which nothing moves ends by the stall limits of the parameters alone.
  void cancelRequests(bool queuedOnly);

  /// Nothing is queued and nothing runs. False inside a completion callback, whose request still has its slot.
  bool isAllRequestsDone() const noexcept;

  /// `callback` may be null: requests then end unseen. `completionContext` stays the caller's.
  void setCallback(CompletionCallback callback, void* completionContext) noexcept;

  /// Header lines sent with every request that starts from now on.
  void setCommonHeaders(const list<string>& headers);
  const list<string>& getCommonHeaders() const noexcept;
  /// Appends, also what is there already.
  void addCommonHeader(const string& header);

  /// Applied to every request when it starts. The references live as long as the object.
  void setConnectionParameters(const ConnectionParameters& parameters);
  const ConnectionParameters& getConnectionParameters() const noexcept;
  ConnectionParameters& editConnectionParameters() noexcept;

  /// Cuts one header line at its first colon: `key` in lower case, both sides trimmed. A line without a colon, such as
  /// most status lines, is all key, as it is written. Replaces both outputs. Any thread.
  static void ParseHttpHeader(const char* data, size_t size, string& key, string& value);

 private:
  struct HttpMultiConnectionImpl;

  ConnectionParameters mParameters;
  list<string> mCommonHeaders;
  CompletionCallback mCompletionCallback = nullptr;
  void* mCompletionContext = nullptr;
  unique_ptr<HttpMultiConnectionImpl> mImpl;
};

}  // namespace qx::http
