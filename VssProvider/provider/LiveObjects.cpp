#include "provider/LiveObjects.h"

#include <atomic>

namespace {
std::atomic<long> gLiveObjects{0};
std::atomic<void (*)()> gLastReleasedHandler{nullptr};
}  // namespace

long LiveProviderObjects() { return gLiveObjects.load(); }
void SetLastProviderReleasedHandler(void (*handler)()) { gLastReleasedHandler.store(handler); }

namespace provider {

LiveObject::LiveObject() { ++gLiveObjects; }

LiveObject::~LiveObject() {
  if (--gLiveObjects == 0) {
    if (void (*handler)() = gLastReleasedHandler.load()) handler();
  }
}

}  // namespace provider
