// SeamSlot is header-only; this unit keeps the library non-empty on every build.
#include "platform/SeamSlot.h"
