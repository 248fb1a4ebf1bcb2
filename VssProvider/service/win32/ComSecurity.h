#pragma once
// Process-wide COM security of the service: callers are authenticated per packet and may be
// impersonated; the descriptor's owner and group are the service's own.
#include "wincompat/WinTypes.h"

namespace service {

// Always S_OK: a failure is logged and COM keeps its defaults, which still let VSS (local
// system) call the provider.
HRESULT InitializeServiceSecurity();

}  // namespace service
