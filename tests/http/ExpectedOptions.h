#pragma once

#include "netweft/base/system/qxTypes.h"

/// The option lists that requests are held against, as `CurlTrace` writes them.
namespace qx::test {

inline vector<string> operator+(vector<string> first, const vector<string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// Of every fresh handle, ahead of anything else.
inline const vector<string> kFreshHandleOptions = {"XFERINFOFUNCTION set", "PATH_AS_IS 1", "CAINFO null",
                                                   "CAPATH null"};

/// Of a default record without a proxy, up to the verification.
inline const vector<string> kDefaultTransferOptions = {
    "FOLLOWLOCATION 1",
    "MAXREDIRS 3",
    "REDIR_PROTOCOLS 3",
    "CONNECTTIMEOUT 10",
    "MAX_RECV_SPEED_LARGE 0",
    "MAX_SEND_SPEED_LARGE 0",
    "COOKIESESSION 0",
    "COOKIEJAR \"/dev/null\"",
    "LOW_SPEED_LIMIT 10",
    "LOW_SPEED_TIME 10",
    "TCP_KEEPALIVE 0",
    "TCP_KEEPIDLE 10",
    "TCP_KEEPINTVL 10",
    "VERBOSE 0",
    "IPRESOLVE 0",
};

inline const vector<string> kVerifiedOptions = {"SSL_VERIFYPEER 1", "SSL_VERIFYHOST 2", "SSL_CTX_FUNCTION set"};
inline const vector<string> kUnverifiedOptions = {"SSL_VERIFYPEER 0", "SSL_VERIFYHOST 0", "SSL_CTX_FUNCTION null"};
inline const vector<string> kNoProxyOption = {"PROXY \"\""};

/// All that a default record sets for a host that is verified, and for 127.0.0.1.
inline const vector<string> kDefaultOptions = kDefaultTransferOptions + kVerifiedOptions + kNoProxyOption;
inline const vector<string> kDefaultLoopbackOptions = kDefaultTransferOptions + kUnverifiedOptions + kNoProxyOption;

}  // namespace qx::test
