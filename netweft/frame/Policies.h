#pragma once

#include "netweft/base/system/qxTypes.h"

/// The three policies of a connection. In each, 0 stands for the process-wide default of `netweft/frame/Netweft.h`.
namespace qx::http {

/// Which address family a host name is resolved to. A preference is strict for one try: a host that has only the
/// other family fails it.
enum HostNameResolutionPolicy : int32 {
  HNRP_Default = 0,     ///< the process-wide default
  HNRP_Whatever = 1,    ///< either
  HNRP_PreferIpv6 = 2,  ///< IPv6
  HNRP_PreferIpv4 = 3,  ///< IPv4
};

/// Which proxy a request goes through.
enum ProxyPolicy : int32 {
  PP_Default = 0,         ///< the process-wide default
  PP_NoProxy = 1,         ///< no proxy at all, not even one that the environment names
  PP_AutomaticProxy = 2,  ///< ask the system's proxy discovery for each request
  PP_ManualProxy = 3,     ///< a proxy address given with the policy; never a default, which has none to go with it
};

/// Whether a server's certificate and the name in it must hold.
enum SSLValidatePolicy : int32 {
  SVP_DefaultBehavior = 0,    ///< the process-wide default
  SVP_VerifyPeerAndHost = 1,  ///< both
  SVP_NoVerify = 2,           ///< neither: whoever sits on the wire can pose as the server
};

}  // namespace qx::http
