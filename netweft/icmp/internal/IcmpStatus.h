#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::impl {

/// How an echo ended, in the numbers of Windows' IP Helper; other platforms translate their own into these.
enum class IcmpStatus : uint32 {
  Success = 0,
  BufferTooSmall = 11001,
  NetworkUnreachable = 11002,
  HostUnreachable = 11003,
  ProtocolUnreachable = 11004,
  PortUnreachable = 11005,
  PacketTooBig = 11009,
  BadRoute = 11012,
  TimeToLiveExpired = 11013,
  ParameterProblem = 11015,
  Unreachable = 11040,
  BadHeader = 11042,
  UnrecognizedNextHeader = 11043,
};

/// The English sentence for a status. One that is not known gives "IP error : " and its number.
string GetIcmpStatusWord(uint32 status);

}  // namespace qx::impl
