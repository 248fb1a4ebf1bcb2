#include "restsdk/v1/SearchFilter.h"

#include "restsdk/Exceptions.h"

namespace VantorStorage::WS::v1 {

SearchFilter::SearchFilter(const std::string& attribute, OperatorType op, const std::string& value)
    : mIsGroup(false), mOperator(op), mAttribute(attribute), mValue(value) {
  if (op != OPERATOR_EQUALS)
    throw ApiException("A search filter leaf takes the operator " + std::to_string(OPERATOR_EQUALS) + ", not " +
                       std::to_string(static_cast<int>(op)));
  if (attribute.empty()) throw ApiException("A search filter leaf needs an attribute name");
}

SearchFilter::SearchFilter(FilterList filters, OperatorType op) : mIsGroup(true), mOperator(op) {
  if (op != OPERATOR_AND && op != OPERATOR_OR)
    throw ApiException("A search filter group takes the operator " + std::to_string(OPERATOR_AND) + " or " +
                       std::to_string(OPERATOR_OR) + ", not " + std::to_string(static_cast<int>(op)));
  for (auto& filter : filters) addFilter(std::move(filter));
}

void SearchFilter::addFilter(std::shared_ptr<SearchFilter> filter) {
  if (!mIsGroup) throw ApiException("Filters can only be added to a search filter group");
  if (!filter) throw ApiException("A search filter group cannot hold a null filter");
  mFilters.push_back(std::move(filter));
}

}  // namespace VantorStorage::WS::v1
