#include "arraysim/ArrayError.h"
#include "arraysim/SearchFilter.h"

#include <gtest/gtest.h>

using arraysim::matchesFilter;
using arraysim::selectFields;
using nlohmann::json;

namespace {

const json kVolume = {{"id", "06ab"},
                      {"name", "sql-data"},
                      {"size", 10240},
                      {"online", true},
                      {"agent_type", "vvol"},
                      {"metadata", json::array({{{"key", "vp_vs_VAN_VIRTUAL_DEVICE_ID"}, {"value", "6000c29f"}},
                                                {{"key", "owner"}, {"value", "dba"}}})}};

json leaf(const std::string& field, const std::string& value) {
    return {{"field", field}, {"operator", "equals"}, {"value", value}};
}

}  // namespace

TEST(SearchFilter, MatchesLeavesGroupsAndMetadataKeys) {
    struct Case {
        const char* what;
        json filter;
        bool expected;
    };
    const Case cases[] = {
        {"string attribute", leaf("name", "sql-data"), true},
        {"comparison is exact", leaf("name", "SQL-DATA"), false},
        {"integer as text", leaf("size", "10240"), true},
        {"boolean as text", leaf("online", "true"), true},
        {"absent attribute", leaf("serial_number", "x"), false},
        {"metadata key and value", leaf("metadata.vp_vs_VAN_VIRTUAL_DEVICE_ID", "6000c29f"), true},
        {"metadata value of another key", leaf("metadata.owner", "6000c29f"), false},
        {"metadata key absent", leaf("metadata.missing", "dba"), false},
        {"or of one miss and one hit", {{"operator", "or"}, {"criteria", {leaf("id", "x"), leaf("id", "06ab")}}}, true},
        {"or of one hit and one miss", {{"operator", "or"}, {"criteria", {leaf("id", "06ab"), leaf("id", "x")}}}, true},
        {"and needs all", {{"operator", "and"}, {"criteria", {leaf("agent_type", "vvol"), leaf("id", "x")}}}, false},
        {"nested groups",
         {{"operator", "and"},
          {"criteria", {leaf("agent_type", "vvol"), {{"operator", "or"}, {"criteria", {leaf("metadata.owner", "dba")}}}}}},
         true},
        {"empty or matches nothing", {{"operator", "or"}, {"criteria", json::array()}}, false},
    };
    for (const auto& c : cases) EXPECT_EQ(matchesFilter(c.filter, kVolume), c.expected) << c.what;
}

TEST(SearchFilter, MalformedFiltersAreInvalidArguments) {
    json deep = leaf("id", "06ab");
    for (int i = 0; i < 40; ++i) deep = {{"operator", "and"}, {"criteria", {deep}}};
    const json bad[] = {
        json::array(),
        {{"operator", "like"}, {"field", "id"}, {"value", "06ab"}},
        {{"operator", "equals"}, {"field", "id"}},
        {{"operator", "equals"}, {"field", "size"}, {"value", 10240}},
        {{"operator", "or"}},
        // A bad criterion after a hit is still reported.
        {{"operator", "or"}, {"criteria", {leaf("id", "06ab"), {{"operator", "equals"}}}}},
        deep,
    };
    for (const auto& filter : bad) {
        try {
            matchesFilter(filter, kVolume);
            ADD_FAILURE() << "accepted " << filter.dump();
        } catch (const arraysim::ArrayError& e) {
            EXPECT_EQ(e.status(), 400);
            EXPECT_EQ(e.code(), "SM_invalid_arg");
        }
    }
}

TEST(SearchFilter, AnswersOnlyTheAskedAttributesThatExist) {
    EXPECT_EQ(selectFields(kVolume, json{"name", "serial_number", "size"}), (json{{"name", "sql-data"}, {"size", 10240}}));
    EXPECT_EQ(selectFields(kVolume, json::array()), json::object());
    EXPECT_EQ(selectFields(kVolume, nullptr), kVolume);
    EXPECT_THROW(selectFields(kVolume, json{"name", 3}), arraysim::ArrayError);
}
