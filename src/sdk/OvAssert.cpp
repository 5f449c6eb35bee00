#include "ov/OvAssert.h"

namespace OV {

void IgnoreAssert(const char*, const char*, int) {}

}  // namespace OV

OvAssertHook g_pOVAssertHook = &OV::IgnoreAssert;
