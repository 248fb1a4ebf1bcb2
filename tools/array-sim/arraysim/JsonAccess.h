#pragma once
// Typed reads of request bodies. A missing member or one of the wrong type is the client's
// mistake, reported as SM_invalid_arg naming the member.

#include "arraysim/ArrayError.h"

#include <nlohmann/json.hpp>

#include <string>

namespace arraysim {

inline const nlohmann::json& objectMember(const nlohmann::json& object, const char* name) {
    if (!object.is_object()) throw invalidArgument(std::string("Expected an object holding '") + name + "'");
    const auto it = object.find(name);
    if (it == object.end() || !it->is_object()) {
        throw invalidArgument(std::string("'") + name + "' must be an object");
    }
    return *it;
}

inline std::string stringMember(const nlohmann::json& object, const char* name) {
    const auto it = object.find(name);
    if (it == object.end() || !it->is_string()) {
        throw invalidArgument(std::string("'") + name + "' must be a string");
    }
    return it->get<std::string>();
}

inline bool boolMember(const nlohmann::json& object, const char* name) {
    const auto it = object.find(name);
    if (it == object.end() || !it->is_boolean()) {
        throw invalidArgument(std::string("'") + name + "' must be true or false");
    }
    return it->get<bool>();
}

inline bool optionalBool(const nlohmann::json& object, const char* name, bool fallback) {
    const auto it = object.find(name);
    if (it == object.end() || it->is_null()) return fallback;
    if (!it->is_boolean()) throw invalidArgument(std::string("'") + name + "' must be true or false");
    return it->get<bool>();
}

}  // namespace arraysim
