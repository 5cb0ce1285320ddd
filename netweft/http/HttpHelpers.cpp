#include "netweft/http/HttpHelpers.h"

#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/internal/HttpConnectionImpl.h"
#include "netweft/http/internal/HttpHelperRequest.h"
#include "netweft/http/internal/HttpStatus.h"

namespace qx::http {

using namespace impl;

namespace {

const char* GetVerbName(int32 verb) {
  switch (verb) {
    case HV_Put: return "PUT";
    case HV_Post: return "POST";
    case HV_Delete: return "DELETE";
    case HV_Head: return "HEAD";
    default: return "GET";
  }
}

/// A DELETE must not be left undecided half-way, and a HEAD is short.
bool HeedsAbortFlag(int32 verb) { return verb != HV_Head && verb != HV_Delete; }

}  // namespace

/// The arguments of one verb function; see the header for what they mean.
struct NETWEFT_HIDDEN HttpHelpers::Call {
  HttpVerb verb;
  HttpConnection& connection;
  const Url& url;
  unsigned char expected;
  HttpResult* result;
  const ConnectionParameters* parameters;
  const list<string>* headers;
  const bool* abortFlag;
  const char* body = nullptr;
  uint64 bodySize = 0;
  bool isJson = false;
  /// Takes the place of `result->content` when it is not null.
  string* content = nullptr;
};

/// Gives the connection its own parameters back, and takes the call's record off the handle, however the call ends.
class NETWEFT_HIDDEN HttpHelpers::CallScope {
 public:
  CallScope(HttpConnection& connection, const ConnectionParameters* parameters)
      : mConnection(connection), mOwnParameters(connection.getConnectionParameters()) {
    if (parameters == nullptr) return;
    ConnectionParameters replacement = *parameters;  // all of it or, when memory runs out, nothing
    mConnection.editConnectionParameters() = std::move(replacement);
  }
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;
  ~CallScope() {
    mConnection.forgetCallbackData();
    mConnection.editConnectionParameters() = std::move(mOwnParameters);
  }

 private:
  HttpConnection& mConnection;
  ConnectionParameters mOwnParameters;
};

/// While it lives, a result has the call's own content sink.
class NETWEFT_HIDDEN HttpHelpers::ContentScope {
 public:
  ContentScope(HttpResult& result, string* content) : mResult(result), mReplaced(result.content) {
    if (content != nullptr) mResult.content = content;
  }
  ContentScope(const ContentScope&) = delete;
  ContentScope& operator=(const ContentScope&) = delete;
  ~ContentScope() { mResult.content = mReplaced; }

  void copyToReplaced() const {
    if (mReplaced != nullptr && mReplaced != mResult.content) *mReplaced = *mResult.content;
  }

 private:
  HttpResult& mResult;
  string* const mReplaced;
};

void HttpHelpers::HttpResult::clearResultAttributes() {
  if (content != nullptr) content->clear();
  if (errorMessage != nullptr) errorMessage->clear();
  if (headers != nullptr) headers->clear();
  httpReturnCode = 0;
}

void HttpHelpers::HttpResult::setResults(const HttpConnection& connection) {
  httpReturnCode = static_cast<uint32>(connection.getLastHttpReturnCode());
  if (errorMessage != nullptr) *errorMessage = connection.getLastErrorMsg();
}

bool HttpHelpers::GenericCall(HttpConnection& connection, const Url& url, HttpResult& result,
                              const ConnectionParameters* parameters, const list<string>* headers, void* request,
                              unsigned char expected, const bool* abortFlag) {
  result.clearResultAttributes();
  auto& record = *static_cast<HttpHelperRequest*>(request);
  record.responseHeaders = result.headers;
  record.requestHeaders = headers;
  record.content = result.content;
  record.contentDevice = result.contentDevice;
  record.abortFlag = abortFlag;
  result.receivedBytes = 0;
  bool isDone = false;
  {
    const CallScope scope(connection, parameters);
    isDone = connection.getHttpData(url, string(), expected, HttpHelperRequest::Setup, request);
    if (isDone && record.head.isBrokenOff()) isDone = connection.mImpl->failBrokenOff();
  }
  result.setResults(connection);
  result.receivedBytes = record.receivedBytes;
  record.failure.rethrow();
  return isDone;
}

bool HttpHelpers::RunVerb(const Call& call) {
  HttpResult unseen;
  HttpResult& result = call.result != nullptr ? *call.result : unseen;
  const ContentScope scope(result, call.content);
  HttpHelperRequest request;
  request.verb = call.verb;
  request.isJson = call.isJson;
  request.body = call.body;
  request.bodySize = call.body != nullptr ? call.bodySize : 0;
  const bool isDone = GenericCall(call.connection, call.url, result, call.parameters, call.headers, &request,
                                  call.expected, HeedsAbortFlag(call.verb) ? call.abortFlag : nullptr);
  scope.copyToReplaced();
  if (!isDone && result.httpReturnCode != sHttpNotFound && call.result == nullptr && !ReadFlag(call.abortFlag)) {
    LogDetail("http") << "Http " << GetVerbName(call.verb) << " error " << call.connection.getLastErrorMsg();
  }
  return isDone;
}

bool HttpHelpers::HttpGet(HttpConnection& connection, const Url& url, HttpResult* result,
                          const ConnectionParameters* parameters, const list<string>* headers, const bool* abortFlag) {
  return RunVerb({HV_Get, connection, url, sHttpOk, result, parameters, headers, abortFlag});
}

bool HttpHelpers::HttpGetJson(HttpConnection& connection, const Url& url, string& content, HttpResult* result,
                              const ConnectionParameters* parameters, const list<string>* headers,
                              const bool* abortFlag, const char* body, size_t bodySize, bool isJson) {
  const bool hasBody = body != nullptr && bodySize != 0;
  return RunVerb({HV_Get, connection, url, sHttpOk, result, parameters, headers, abortFlag, body, bodySize,
                  isJson && hasBody, &content});
}

bool HttpHelpers::HttpGetJson(HttpConnection& connection, const Url& url, string& content, HttpResult* result,
                              const ConnectionParameters* parameters, const list<string>* headers,
                              const bool* abortFlag, const string* body, bool isJson) {
  return HttpGetJson(connection, url, content, result, parameters, headers, abortFlag,
                     body != nullptr ? body->data() : nullptr, body != nullptr ? body->size() : 0, isJson);
}

bool HttpHelpers::HttpHead(HttpConnection& connection, const Url& url, HttpResult* result,
                           const ConnectionParameters* parameters, const list<string>* headers, const bool* abortFlag) {
  return RunVerb({HV_Head, connection, url, sHttpOk, result, parameters, headers, abortFlag});
}

bool HttpHelpers::HttpDelete(HttpConnection& connection, const Url& url, HttpResult* result,
                             const ConnectionParameters* parameters, const list<string>* headers,
                             const bool* abortFlag) {
  return RunVerb({HV_Delete, connection, url, sHttpOk, result, parameters, headers, abortFlag});
}

bool HttpHelpers::HttpPost(HttpConnection& connection, const Url& url, const string& body, unsigned char expected,
                           HttpResult* result, const ConnectionParameters* parameters, const list<string>* headers,
                           const bool* abortFlag) {
  return HttpPost(body.data(), body.size(), connection, url, expected, result, parameters, headers, abortFlag);
}

bool HttpHelpers::HttpPost(const char* body, size_t bodySize, HttpConnection& connection, const Url& url,
                           unsigned char expected, HttpResult* result, const ConnectionParameters* parameters,
                           const list<string>* headers, const bool* abortFlag) {
  return RunVerb({HV_Post, connection, url, expected, result, parameters, headers, abortFlag, body, bodySize});
}

bool HttpHelpers::HttpPostJson(HttpConnection& connection, const Url& url, const char* body, size_t bodySize,
                               unsigned char expected, HttpResult* result, const ConnectionParameters* parameters,
                               const list<string>* headers, const bool* abortFlag) {
  return RunVerb({HV_Post, connection, url, expected, result, parameters, headers, abortFlag, body, bodySize, true});
}

bool HttpHelpers::HttpPut(HttpConnection& connection, const Url& url, const string& body, unsigned char expected,
                          HttpResult* result, const ConnectionParameters* parameters, const list<string>* headers,
                          const bool* abortFlag) {
  return RunVerb({HV_Put, connection, url, expected, result, parameters, headers, abortFlag, body.data(), body.size()});
}

bool HttpHelpers::HttpPutJson(HttpConnection& connection, const Url& url, const char* body, size_t bodySize,
                              unsigned char expected, HttpResult* result, const ConnectionParameters* parameters,
                              const list<string>* headers, const bool* abortFlag) {
  return RunVerb({HV_Put, connection, url, expected, result, parameters, headers, abortFlag, body, bodySize, true});
}

}  // namespace qx::http
