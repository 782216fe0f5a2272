#include "platform/posix/shared_objects_posix.h"
