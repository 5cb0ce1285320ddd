#pragma once

#include "netweft/base/system/qxIoDevice.h"

namespace qx {

/// A device that hands its work on to another device, which it does not own: the target must outlive the
/// delegation. One thread at a time.
class NETWEFT_EXPORT qxIoDeviceDelegable : public qxIoDevice {
 public:
  /// What a subclass does with its target.
  enum DelegableFlag : int32 {
    DF_None = 0,   ///< neither
    DF_Read = 1,   ///< reads from it
    DF_Write = 2,  ///< writes to it
  };

  /// Starts to hand on to `target`; false when that is refused.
  virtual bool beginDelegation(qxIoDevice* target) = 0;
  /// Writes what is left and lets go of the target; false when anything failed.
  virtual bool endDelegation() = 0;
  /// Lets go of the target and drops what is left.
  virtual void clearDelegation() = 0;

  /// As the subclass gave it to the constructor.
  DelegableFlag getDelegableFlag() const noexcept { return mFlag; }
  /// A number by which a host tells kinds of delegable devices apart; the library gives it no meaning.
  int getDelegableKind() const noexcept { return mKind; }

 protected:
  /// Both are fixed for the object's life.
  qxIoDeviceDelegable(DelegableFlag flag, int kind) noexcept : mFlag(flag), mKind(kind) {}

 private:
  DelegableFlag mFlag;
  int mKind;
};

}  // namespace qx
