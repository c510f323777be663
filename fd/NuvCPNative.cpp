#include "fd/NuvCPNative.h"

void NuvCPUnavailable::init(RavRuntime& rt, int) {
  throw PimExecutionError(rt.source(), "class " + nativeClass()->name() +
                                           " is not available in this build of nuvfd");
}
