#include "netweft/http/ConnectionParameters.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/frame/Netweft.h"
#include "netweft/frame/internal/FrameState.h"
#include "netweft/http/HttpProxyFinder.h"
#include "netweft/http/internal/CurlEasy.h"

#include <algorithm>

namespace qx::http {

namespace {

using namespace impl;

long AtLeastZero(int32 value) { return std::max<long>(value, 0); }

bool ResolveVerification(SSLValidatePolicy policy) {
  if (policy == SVP_DefaultBehavior) return IsVerifySSLCertByDefault();
  return policy != SVP_NoVerify;
}

long ResolveAddressFamily(HostNameResolutionPolicy policy) {
  if (policy == HNRP_Default) policy = GetDefaultHostNameResolutionPolicy();
  switch (policy) {
    case HNRP_PreferIpv6: return CURL_IPRESOLVE_V6;
    case HNRP_PreferIpv4: return CURL_IPRESOLVE_V4;
    default: return CURL_IPRESOLVE_WHATEVER;
  }
}

CURLcode SslContextCallback(CURL*, void* sslContext, void*) noexcept {
  try {
    return qxOpenSSL::setCertStore(qx::impl::GetCurlOpenSslVersion(), sslContext) ? CURLE_OK : CURLE_SSL_CERTPROBLEM;
  } catch (...) {
    return CURLE_SSL_CERTPROBLEM;
  }
}

int ApplyRedirects(CURL* handle, const ConnectionParameters& parameters) {
  int failed = SetLong(handle, CURLOPT_FOLLOWLOCATION, parameters.followRedirects ? 1 : 0);
  failed |= SetLong(handle, CURLOPT_MAXREDIRS, AtLeastZero(parameters.maxRedirects));
  failed |= SetLong(handle, CURLOPT_REDIR_PROTOCOLS, CURLPROTO_HTTP | CURLPROTO_HTTPS);
  return failed;
}

int ApplyLimits(CURL* handle, const ConnectionParameters& parameters) {
  int failed = SetLong(handle, CURLOPT_CONNECTTIMEOUT, AtLeastZero(parameters.connectTimeoutSec));
  failed |= SetOffset(handle, CURLOPT_MAX_RECV_SPEED_LARGE, AtLeastZero(parameters.maxRecvSpeed));
  failed |= SetOffset(handle, CURLOPT_MAX_SEND_SPEED_LARGE, AtLeastZero(parameters.maxSendSpeed));
  return failed;
}

int ApplyCookies(CURL* handle, bool keepCookies) {
  int failed = SetLong(handle, CURLOPT_COOKIESESSION, keepCookies ? 0 : 1);
  failed |= SetText(handle, CURLOPT_COOKIEJAR, keepCookies ? GetNullDevice() : nullptr);
  return failed;
}

int ApplyStallRule(CURL* handle, const ConnectionParameters& parameters) {
  const bool hasRule = parameters.lowSpeedLimit > 0 && parameters.lowSpeedTimeSec > 0;
  int failed = SetLong(handle, CURLOPT_LOW_SPEED_LIMIT, hasRule ? parameters.lowSpeedLimit : 0);
  failed |= SetLong(handle, CURLOPT_LOW_SPEED_TIME, hasRule ? parameters.lowSpeedTimeSec : 0);
  return failed;
}

int ApplyKeepAlive(CURL* handle, int32 keepAliveSec) {
  constexpr long kIdleSecWhenOff = 10;
  const long idleSec = keepAliveSec > 0 ? keepAliveSec : kIdleSecWhenOff;
  int failed = SetLong(handle, CURLOPT_TCP_KEEPALIVE, keepAliveSec > 0 ? 1 : 0);
  failed |= SetLong(handle, CURLOPT_TCP_KEEPIDLE, idleSec);
  failed |= SetLong(handle, CURLOPT_TCP_KEEPINTVL, idleSec);
  return failed;
}

int ApplyVerification(CURL* handle, bool verify) {
  int failed = SetLong(handle, CURLOPT_SSL_VERIFYPEER, verify ? 1 : 0);
  failed |= SetLong(handle, CURLOPT_SSL_VERIFYHOST, verify ? 2 : 0);
  failed |= verify ? SetFunction(handle, CURLOPT_SSL_CTX_FUNCTION, SslContextCallback)
                   : UnsetFunction(handle, CURLOPT_SSL_CTX_FUNCTION);
  return failed;
}

string GetManualProxy(const qx::Url& proxyUrl) {
  if (proxyUrl.isValid()) return proxyUrl.toEncodedUrl();
  LogDetail("") << "Manual proxy url is invalid " << proxyUrl.toDisplayableUrl() << " disable proxy for this call";
  return {};
}

/// An empty text turns every proxy off, also those that the environment names; null leaves libcurl to the environment.
int ApplyProxy(CURL* handle, const ConnectionParameters& parameters, const qx::Url& url, HttpProxyFinder& proxyFinder) {
  string proxy;
  bool isKnown = true;
  switch (parameters.proxyPolicy == PP_Default ? GetDefaultProxyPolicy() : parameters.proxyPolicy) {
    case PP_AutomaticProxy: isKnown = proxyFinder.getProxyUrl(url, proxy); break;
    case PP_ManualProxy: proxy = GetManualProxy(parameters.manualProxyUrl); break;
    default: break;
  }
  return SetText(handle, CURLOPT_PROXY, isKnown ? proxy.c_str() : nullptr);
}

}  // namespace

int ConnectionParameters::applyParameters(void* curlHandle, const qx::Url& url, HttpProxyFinder& proxyFinder) const {
  CURL* const handle = curlHandle;
  const bool verify = ResolveVerification(sslValidatePolicy) && url.getHost() != "127.0.0.1";
  int failed = ApplyRedirects(handle, *this);
  failed |= ApplyLimits(handle, *this);
  failed |= ApplyCookies(handle, keepCookies);
  failed |= ApplyStallRule(handle, *this);
  failed |= ApplyKeepAlive(handle, tcpKeepAliveSec);
  failed |= SetLong(handle, CURLOPT_VERBOSE, debugLevel != 0 ? 1 : 0);
  failed |= SetLong(handle, CURLOPT_IPRESOLVE, ResolveAddressFamily(hostNameResolutionPolicy));
  failed |= ApplyVerification(handle, verify);
  failed |= ApplyProxy(handle, *this, url, proxyFinder);
  return failed;
}

}  // namespace qx::http
