// Named shared objects on POSIX: shared-memory objects and robust
// process-shared mutexes.
#pragma once

#include "platform/shared_objects.h"

namespace q9 {

class PosixSharedObjects final : public SharedObjects {};

}  // namespace q9
