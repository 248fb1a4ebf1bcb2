#pragma once
// One metadata pair of a volume or snapshot.
#include <string>

#include "restsdk/v1/Record.h"

namespace VantorStorage::WS::v1 {

class VsKeyValue : public Record {
 public:
  VsKeyValue() = default;
  VsKeyValue(const std::string& key, const std::string& value) : mKey(key), mValue(value) {}

  const std::string& getKey() const { return required(mKey, "Key"); }
  const std::string& getValue() const { return required(mValue, "Value"); }
  void setKey(const std::string& key) {
    checkMutable("Key");
    mKey = key;
  }
  void setValue(const std::string& value) {
    checkMutable("Value");
    mValue = value;
  }

 private:
  friend struct detail::RecordCodec;
  std::optional<std::string> mKey;
  std::optional<std::string> mValue;
};

using VsKeyValueList = ObjectList<VsKeyValue>;
using VsKeyValueListPtr = ObjectListPtr<VsKeyValue>;

}  // namespace VantorStorage::WS::v1
