#pragma once

#include "netweft/base/system/qxTypes.h"

#include <sys/socket.h>

#include <deque>

namespace qx::fuzz {

/// A record of ancillary data.
struct ControlRecord {
  int level = 0;
  int type = 0;
  vector<unsigned char> bytes;
};

/// What one recvmsg gives out.
struct KernelMessage {
  int error = 0;  ///< it fails with this instead
  sockaddr_storage name = {};
  socklen_t nameSize = 0;
  vector<unsigned char> bytes;
  vector<ControlRecord> control;
};

/// The system calls on ICMP sockets, replaced at link time, so that what a network may do needs neither rights nor a
/// network. Sockets can be opened, set up and sent on, of the wanted kind alone; what arrives is what stands here.
struct ScriptedKernel {
  static ScriptedKernel& Get();

  bool allowsRaw = false;  ///< raw sockets, and no others
  std::deque<KernelMessage> received;
  std::deque<KernelMessage> errors;  ///< the error queue
};

}  // namespace qx::fuzz
