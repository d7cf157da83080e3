#pragma once
// The shell platform of the system the package is built for; each platform's source defines it.

#include "util/KVUtil.h"

namespace wn {

TShellPlatform &DefaultShellPlatform();

} // namespace wn
