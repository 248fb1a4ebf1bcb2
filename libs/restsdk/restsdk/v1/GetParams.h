#pragma once
// Parameters of a search: an optional filter (none: every object) and the attributes to read.
#include <memory>

#include "restsdk/v1/AttributeSelector.h"
#include "restsdk/v1/SearchFilter.h"

namespace VantorStorage::WS::v1 {

class GetParams {
 public:
  void setSearchFilter(std::shared_ptr<SearchFilter> filter) { mFilter = std::move(filter); }
  std::shared_ptr<SearchFilter> getSearchFilter() const { return mFilter; }

  AttributeSelector& getAttributeSelector() { return mSelector; }
  const AttributeSelector& getAttributeSelector() const { return mSelector; }
  void setAttributeSelector(const AttributeSelector& selector) { mSelector = selector; }

 private:
  std::shared_ptr<SearchFilter> mFilter;
  AttributeSelector mSelector;
};

}  // namespace VantorStorage::WS::v1
