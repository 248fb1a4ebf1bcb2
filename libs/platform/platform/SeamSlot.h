#pragma once
// One process-wide slot per platform seam. A process installs its implementations once at
// start (the service's main, vantor-vss, a test fixture); everything else asks the slot and
// never learns which implementation it got.
#include <memory>
#include <stdexcept>
#include <utility>

namespace platform {

template <class Seam>
class SeamSlot {
 public:
  // Installs `seam` and hands back the previous one (tests restore it when they finish).
  static std::unique_ptr<Seam> Install(std::unique_ptr<Seam> seam) {
    std::swap(Slot(), seam);
    return seam;
  }
  static bool Installed() { return Slot() != nullptr; }
  // The installed implementation; a missing installation is a programming error of the
  // process's start-up, not an input problem, so it throws.
  static Seam& Get() {
    if (!Slot()) throw std::logic_error("platform seam used before it was installed");
    return *Slot();
  }

 private:
  static std::unique_ptr<Seam>& Slot() {
    static std::unique_ptr<Seam> slot;
    return slot;
  }
};

}  // namespace platform
