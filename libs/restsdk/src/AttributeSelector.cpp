#include "restsdk/v1/AttributeSelector.h"

#include <algorithm>

#include "restsdk/Exceptions.h"

namespace VantorStorage::WS::v1 {

void AttributeSelector::addAttribute(const std::string& wireName) {
  if (wireName.empty()) throw ApiException("An attribute name must not be empty");
  if (std::find(mAttributes.begin(), mAttributes.end(), wireName) == mAttributes.end())
    mAttributes.push_back(wireName);
}

}  // namespace VantorStorage::WS::v1
