#pragma once
// One-time set-up of the REST client library for the process: its log sink and the
// application name that the array records for every session we open.
#include <string>

namespace Vantor {

// The first successful call initialises the library; later calls keep that set-up (and its
// application name) and only log. A failure leaves the process uninitialised, so the next
// call tries again; it throws std::exception with the library's reason.
void InitRestSDK(const std::string& appName);

}  // namespace Vantor
