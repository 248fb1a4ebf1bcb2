#pragma once
// What keeps a local server that COM started alive: every object it hands to a client, the
// provider objects and the async objects of their restores. Each holds a LiveObject for its
// whole life; when the last one goes, the handler is called on the releasing thread. A client
// that still holds an async object after releasing its provider thus never meets a server
// that has ended.

// Objects alive in the process that a client may still call.
long LiveProviderObjects();
// Called when the count drops to zero (null: nothing is called).
void SetLastProviderReleasedHandler(void (*handler)());

namespace provider {

class LiveObject {
 public:
  LiveObject();
  ~LiveObject();
  LiveObject(const LiveObject&) = delete;
  LiveObject& operator=(const LiveObject&) = delete;
};

}  // namespace provider
