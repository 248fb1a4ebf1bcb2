#pragma once
// The registry keys a registration is about to change, as they were before: every value (of
// any type) and every subkey below each recorded path. Restoring puts back exactly that: a key
// that did not exist is removed again, one that did is emptied and refilled. An upgrade whose
// registration fails half-way thereby leaves the earlier registration as it found it.
#include <string>
#include <vector>

#include "wincompat/WinTypes.h"

namespace service {

class RegistryBackup {
 public:
  // Reads the trees below `root` now. Returns the first Win32 error other than a missing key;
  // a registration that cannot record what it would change must not change it.
  LSTATUS Capture(HKEY root, const std::vector<std::wstring>& paths);

  // Writes the recorded state back; tries every tree and returns the first error.
  LSTATUS Restore() const;

  struct Value {
    std::wstring name;
    DWORD type = 0;
    std::vector<BYTE> data;
  };
  struct Key {
    std::wstring path;  // below the root, parents before their children
    std::vector<Value> values;
  };
  struct Tree {
    std::wstring path;
    bool existed = false;
    std::vector<Key> keys;
  };
  const std::vector<Tree>& Trees() const { return mTrees; }

 private:
  HKEY mRoot = nullptr;
  std::vector<Tree> mTrees;
};

}  // namespace service
