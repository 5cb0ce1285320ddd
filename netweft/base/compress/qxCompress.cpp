#include "netweft/base/compress/qxCompress.h"

namespace qx {

// zlib keeps no process-wide state; the pair stands for hosts on platforms whose compression library does.
void initializeCompress() {}

void terminateCompress() {}

}  // namespace qx
