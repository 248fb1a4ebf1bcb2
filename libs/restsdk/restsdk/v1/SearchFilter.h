#pragma once
// A search condition: a leaf ("attribute equals value") or a group of conditions joined by
// "and" or "or". A dotted attribute "metadata.KEY" compares the value of that metadata key.
#include <memory>
#include <string>
#include <vector>

namespace VantorStorage::WS::v1 {

enum OperatorType : int {
  OPERATOR_AND = 2,     // every filter of the group holds
  OPERATOR_OR = 3,      // any filter of the group holds
  OPERATOR_EQUALS = 4,  // leaf: attribute equals value
};

class SearchFilter {
 public:
  using FilterList = std::vector<std::shared_ptr<SearchFilter>>;

  // Leaf. Throws ApiException unless op is OPERATOR_EQUALS and the attribute is not empty.
  SearchFilter(const std::string& attribute, OperatorType op, const std::string& value);
  // Group. Throws ApiException unless op is OPERATOR_AND or OPERATOR_OR. More filters may be
  // added later with addFilter; a group must hold at least one when the request is sent.
  SearchFilter(FilterList filters, OperatorType op);

  // Throws ApiException on a leaf or a null filter.
  void addFilter(std::shared_ptr<SearchFilter> filter);

  bool isGroup() const { return mIsGroup; }
  OperatorType getOperatorType() const { return mOperator; }
  const std::string& getAttribute() const { return mAttribute; }
  const std::string& getValue() const { return mValue; }
  const FilterList& getFilters() const { return mFilters; }

 private:
  bool mIsGroup;
  OperatorType mOperator;
  std::string mAttribute;
  std::string mValue;
  FilterList mFilters;
};

}  // namespace VantorStorage::WS::v1
