#pragma once

namespace qx::test {

/// While it lives, every transfer of the blocking client runs into its time limit at once, without any bytes moved. One
/// at a time. For programs that are linked with `WRAP curl_easy_perform` and list this class's source among their own.
class ForcedTimeout {
 public:
  ForcedTimeout();
  ForcedTimeout(const ForcedTimeout&) = delete;
  ForcedTimeout& operator=(const ForcedTimeout&) = delete;
  ~ForcedTimeout();

  /// How many transfers it has ended.
  static int getCount();
};

}  // namespace qx::test
