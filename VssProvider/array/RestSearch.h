#pragma once
// Searches of the array: their parameters ("attribute equals value" conditions joined by "or"
// or "and", and the attributes the answer should carry, in request order) and the choice of
// the one object a single-object search stands for.
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "restsdk/v1/GetParams.h"
#include "restsdk/v1/SearchFilter.h"

namespace Vantor {

using AttributeEquals = std::pair<std::string, std::string>;

// A group of `op` over one leaf per condition. A single condition is still wrapped in a group,
// which is the form the array's search expects.
std::shared_ptr<VantorStorage::WS::v1::SearchFilter> MakeFilterGroup(const std::vector<AttributeEquals>& conditions,
                                                                      VantorStorage::WS::v1::OperatorType op);

// Search parameters with `filter` (may be null: every object) and the attributes in order.
std::shared_ptr<VantorStorage::WS::v1::GetParams> MakeGetParams(
    std::shared_ptr<VantorStorage::WS::v1::SearchFilter> filter, std::initializer_list<const char*> attributes);

void LogUnexpectedResultCount(std::size_t count, const char* objectKind);

// The first object of a search that should find exactly one; more than one is logged with
// `objectKind` ("volume", "snapshot") and the first is still taken. Null when none came back.
template <class T>
std::shared_ptr<T> SingleSearchResult(const std::shared_ptr<std::vector<std::shared_ptr<T>>>& list,
                                      const char* objectKind) {
  if (!list || list->empty()) return nullptr;
  if (list->size() > 1) LogUnexpectedResultCount(list->size(), objectKind);
  return list->front();
}

}  // namespace Vantor
