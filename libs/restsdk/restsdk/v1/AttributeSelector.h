#pragma once
// Which attributes a search answers, in the order added (the order of the request). Empty
// means the array's default set.
#include <string>
#include <vector>

namespace VantorStorage::WS::v1 {

class AttributeSelector {
 public:
  // Throws ApiException for an empty name. Adding a name twice sends it once.
  void addAttribute(const std::string& wireName);
  const std::vector<std::string>& getAttributes() const { return mAttributes; }
  void clear() { mAttributes.clear(); }

 private:
  std::vector<std::string> mAttributes;
};

}  // namespace VantorStorage::WS::v1
