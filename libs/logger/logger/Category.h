#pragma once
// Severity of a trace line. The values are part of every log site's call, so they never change.
enum MSG_CATEGORY { MSG_DEBUG = 1, MSG_INFO = 2, MSG_WARNING = 3, MSG_ERROR = 4 };
