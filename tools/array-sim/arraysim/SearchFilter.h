#pragma once
// The search side of the REST API: filters over object attributes and the selection of the
// attributes an answer carries. Filters come from the client and are checked as outside input.

#include <nlohmann/json.hpp>

namespace arraysim {

// Throws ArrayError (SM_invalid_arg) for a filter that is not a leaf
// {"field","operator":"equals","value":STRING} or a group {"operator":"and"|"or","criteria":[]}.
// A "metadata.KEY" field matches when the object's metadata holds KEY with that value.
bool matchesFilter(const nlohmann::json& filter, const nlohmann::json& object);

// Only the asked attributes that the object has; an absent or null selection keeps every one.
nlohmann::json selectFields(const nlohmann::json& object, const nlohmann::json& fields);

}  // namespace arraysim
