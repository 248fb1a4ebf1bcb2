#pragma once
// Common ground of the array object records: every attribute is either set or not, reading an
// unset one throws AttributeNotSetException with the accessor's name, and objects that came
// from the array are immutable (setters throw ImmutableObjectException). Copies keep that mark.
#include <memory>
#include <optional>
#include <vector>

#include "restsdk/Exceptions.h"

namespace VantorStorage::WS::detail {
struct RecordCodec;
}

namespace VantorStorage::WS::v1 {

template <class T>
using ObjectList = std::vector<std::shared_ptr<T>>;
template <class T>
using ObjectListPtr = std::shared_ptr<ObjectList<T>>;

class Record {
 public:
  bool isImmutable() const { return mImmutable; }

 protected:
  Record() = default;
  void checkMutable(const char* attributeName) const {
    if (mImmutable) throw ImmutableObjectException(attributeName);
  }
  template <class T>
  static const T& required(const std::optional<T>& value, const char* attributeName) {
    if (!value) throw AttributeNotSetException(attributeName);
    return *value;
  }

 private:
  friend struct detail::RecordCodec;
  bool mImmutable = false;
};

}  // namespace VantorStorage::WS::v1
