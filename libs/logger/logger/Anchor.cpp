// FileLog.h, Logger.h and EventReporter.h are implemented in this library.
#include "logger/FileLog.h"
