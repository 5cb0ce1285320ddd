#pragma once

#include "netweft/addressing/Url.h"
#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"
#include "netweft/frame/Policies.h"

namespace qx::http {

class HttpProxyFinder;

/// How a transfer behaves: time limits, speeds, redirects, cookies, certificate checks, name resolution and proxy. A
/// plain value; the blocking and the multi-request client both apply it anew for each request.
///
/// There is no limit for the whole transfer: it may last as long as it keeps above `lowSpeedLimit`. With the defaults
/// a server that sends nothing for ten seconds ends the request.
struct NETWEFT_EXPORT ConnectionParameters {
  /// Limit of the connect phase in seconds; 0 or less leaves libcurl's own, 300.
  int32 connectTimeoutSec = 10;
  /// Bytes per second; 0 or less means no limit.
  int32 maxSendSpeed = 0;
  int32 maxRecvSpeed = 0;
  /// A transfer slower than `lowSpeedLimit` bytes per second for `lowSpeedTimeSec` seconds is stalled and ends. If
  /// either is 0 or less there is no such rule.
  int32 lowSpeedLimit = 10;
  int32 lowSpeedTimeSec = 10;
  /// TCP keep-alive: idle time and probe interval in seconds; 0 or less turns it off.
  int32 tcpKeepAliveSec = -1;
  /// Redirects followed at most, to HTTP and HTTPS alone; 0 or less means none.
  int32 maxRedirects = 3;
  /// Whether the server's certificate and name must hold. A URL whose host is written 127.0.0.1 is never verified,
  /// whatever this says, and what it redirects to is not either.
  SSLValidatePolicy sslValidatePolicy = SVP_DefaultBehavior;
  /// A preference is strict: a host that has only the other family fails, and `HttpConnection` holds the retry for
  /// that.
  HostNameResolutionPolicy hostNameResolutionPolicy = HNRP_Default;
  /// Which proxy the request goes through.
  ProxyPolicy proxyPolicy = PP_Default;
  /// Used only under `PP_ManualProxy`. If it is not valid the request goes without a proxy, and the log says so.
  qx::Url manualProxyUrl = qx::Url(qx::Url::CS_Empty);
  /// 0: nothing; 1: libcurl's debug text is captured; 2: captured and logged after each request, on channel "curl". It
  /// shows the headers as they were sent, credentials among them. For `HttpConnection`: a multi-request client keeps
  /// nothing, and any level but 0 lets libcurl write its text to stderr there, past the log.
  int32 debugLevel = 0;
  /// False: an answer that redirects is the answer.
  bool followRedirects = true;
  /// Cookies live in memory for the life of the easy handle and are never written to a file. Turned off, cookies that
  /// the handle already has are still sent until `HttpConnection::clearConnection`.
  bool keepCookies = true;

  /// Sets the options of libcurl's live easy handle `curlHandle` (a `CURL*`) for a coming request to `url`.
  /// `proxyFinder` is asked only under `PP_AutomaticProxy`; it should live as long as the handle, and serves one thread
  /// at a time. The process defaults are read without a lock.
  ///
  /// 0 when libcurl took every option; any other value is a failure and tells nothing more. All options are tried in
  /// any case. Throws nothing but std::bad_alloc.
  int applyParameters(void* curlHandle, const qx::Url& url, HttpProxyFinder& proxyFinder) const;
};

}  // namespace qx::http
