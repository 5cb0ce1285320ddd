#include "fuzz/Target.h"
#include "netweft/base/system/qxLogObject.h"

/// Any text of a peer stays one plain line of the log: the program's log is checked.
namespace qx::fuzz {
namespace {

void Check(std::string_view bytes) {
  const string text(bytes);
  LogError() << "said : " << text;
  LogWarning() << CutForLog(text) << text.c_str();
}

const Target sTarget("log_line", Check);

}  // namespace
}  // namespace qx::fuzz
