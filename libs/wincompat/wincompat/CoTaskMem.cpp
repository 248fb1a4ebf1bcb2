#include <cstdlib>

#include "wincompat/Com.h"

#ifndef _WIN32
void* CoTaskMemAlloc(std::size_t cb) { return std::malloc(cb == 0 ? 1 : cb); }
void CoTaskMemFree(void* pv) { std::free(pv); }
#endif

namespace wincompat {
const IID kIID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
}  // namespace wincompat
