#include "terminal/console.h"

namespace vespro::platform {

void EndReadsOn(int) {}

}  // namespace vespro::platform
