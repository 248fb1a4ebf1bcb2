#include "array/RestSearch.h"

#include "logger/FileLog.h"

namespace Vantor {

namespace v1 = VantorStorage::WS::v1;

namespace {
static constexpr const wchar_t* kLogSource = L"RestCall";
}  // namespace

std::shared_ptr<v1::SearchFilter> MakeFilterGroup(const std::vector<AttributeEquals>& conditions,
                                                  v1::OperatorType op) {
  auto group = std::make_shared<v1::SearchFilter>(v1::SearchFilter::FilterList{}, op);
  for (const auto& [attribute, value] : conditions) {
    group->addFilter(std::make_shared<v1::SearchFilter>(attribute, v1::OPERATOR_EQUALS, value));
  }
  return group;
}

std::shared_ptr<v1::GetParams> MakeGetParams(std::shared_ptr<v1::SearchFilter> filter,
                                             std::initializer_list<const char*> attributes) {
  auto params = std::make_shared<v1::GetParams>();
  if (filter) params->setSearchFilter(std::move(filter));
  for (const char* attribute : attributes) params->getAttributeSelector().addAttribute(attribute);
  return params;
}

void LogUnexpectedResultCount(std::size_t count, const char* objectKind) {
  VA_LOG(MSG_ERROR, L"Expected to find only 1 %S. However, count is: %d", objectKind, static_cast<int>(count));
}

}  // namespace Vantor
