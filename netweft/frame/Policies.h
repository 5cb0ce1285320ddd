#pragma once

#include "netweft/base/system/qxTypes.h"

/// The three policies of a connection. In each, 0 stands for the process-wide default of `netweft/frame/Netweft.h`.
namespace qx::http {

/// Which address family a host name is resolved to. A preference is strict for one try: a host that has only the
/// other family fails it.
enum HostNameResolutionPolicy : int32 {
  HNRP_Default = 0,
  HNRP_Whatever = 1,
  HNRP_PreferIpv6 = 2,
  HNRP_PreferIpv4 = 3,
};

enum ProxyPolicy : int32 {
  PP_Default = 0,
  PP_NoProxy = 1,         ///< no proxy at all, not even one that the environment names
  PP_AutomaticProxy = 2,  ///< ask the system's proxy discovery for each request
  PP_ManualProxy = 3,     ///< a proxy address given with the policy; never a default, which has none to go with it
};

enum SSLValidatePolicy : int32 {
  SVP_DefaultBehavior = 0,
  SVP_VerifyPeerAndHost = 1,
  SVP_NoVerify = 2,
};

}  // namespace qx::http
