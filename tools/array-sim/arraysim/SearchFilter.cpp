#include "arraysim/SearchFilter.h"

#include "arraysim/ArrayError.h"

#include <string_view>

namespace arraysim {
namespace {

constexpr int kMaxDepth = 32;  // a deeper filter is hostile or broken, not a real query
constexpr std::string_view kMetadataPrefix = "metadata.";

// An attribute as the text a filter value is compared with.
bool attributeEquals(const nlohmann::json& attribute, const std::string& value) {
    if (attribute.is_string()) return attribute.get_ref<const std::string&>() == value;
    if (attribute.is_boolean()) return (attribute.get<bool>() ? "true" : "false") == value;
    if (attribute.is_number_integer()) return std::to_string(attribute.get<long long>()) == value;
    return false;
}

bool matchesLeaf(const nlohmann::json& leaf, const nlohmann::json& object) {
    const auto field = leaf.find("field");
    const auto value = leaf.find("value");
    if (field == leaf.end() || !field->is_string() || value == leaf.end() || !value->is_string()) {
        throw invalidArgument("A filter leaf needs a string field and a string value");
    }
    const auto& name = field->get_ref<const std::string&>();
    const auto& wanted = value->get_ref<const std::string&>();
    if (name.starts_with(kMetadataPrefix)) {
        const std::string key = name.substr(kMetadataPrefix.size());
        const auto metadata = object.find("metadata");
        if (metadata == object.end() || !metadata->is_array()) return false;
        for (const auto& pair : *metadata) {
            if (pair.value("key", std::string()) == key && pair.value("value", std::string()) == wanted) {
                return true;
            }
        }
        return false;
    }
    const auto attribute = object.find(name);
    return attribute != object.end() && attributeEquals(*attribute, wanted);
}

bool matches(const nlohmann::json& filter, const nlohmann::json& object, int depth) {
    if (depth > kMaxDepth) throw invalidArgument("Search filter nested too deeply");
    if (!filter.is_object()) throw invalidArgument("A search filter must be an object");
    const auto op = filter.find("operator");
    if (op == filter.end() || !op->is_string()) throw invalidArgument("A search filter needs an operator");
    const auto& name = op->get_ref<const std::string&>();
    if (name == "equals") return matchesLeaf(filter, object);
    if (name != "and" && name != "or") throw invalidArgument("Unknown filter operator '" + name + "'");
    const auto criteria = filter.find("criteria");
    if (criteria == filter.end() || !criteria->is_array()) {
        throw invalidArgument("A filter group needs a criteria list");
    }
    // Every criterion is evaluated even after the answer is known, so a malformed one is
    // reported however the others turn out.
    const bool all = name == "and";
    bool result = all;
    for (const auto& criterion : *criteria) {
        const bool hit = matches(criterion, object, depth + 1);
        result = all ? (result && hit) : (result || hit);
    }
    return result;
}

}  // namespace

bool matchesFilter(const nlohmann::json& filter, const nlohmann::json& object) {
    return matches(filter, object, 0);
}

nlohmann::json selectFields(const nlohmann::json& object, const nlohmann::json& fields) {
    if (fields.is_null()) return object;
    if (!fields.is_array()) throw invalidArgument("fields must be a list of attribute names");
    nlohmann::json selected = nlohmann::json::object();
    for (const auto& field : fields) {
        if (!field.is_string()) throw invalidArgument("fields must be a list of attribute names");
        const auto attribute = object.find(field.get_ref<const std::string&>());
        if (attribute != object.end()) selected[attribute.key()] = *attribute;
    }
    return selected;
}

}  // namespace arraysim
