#include "arraysim/DsmRecord.h"

#include <gtest/gtest.h>

#include <stdexcept>

TEST(DsmRecord, LaysOutVersionCountAndEntriesLittleEndian) {
    const std::vector<std::uint8_t> record =
        arraysim::encodeDsmRecord({{"ab12", "127.1.2.3"}, {"cd", ""}});
    const std::vector<std::uint8_t> expected = {
        1, 2, 0,                                          // version 1, two entries
        19, 0, 'a', 'b', '1', '2', 0, 9, 0,               // length 19, serial, ip length 9
        '1', '2', '7', '.', '1', '.', '2', '.', '3', 0,   // the address
        7, 0, 'c', 'd', 0, 0, 0,                          // no address: length 0 and nothing after
    };
    EXPECT_EQ(record, expected);
    EXPECT_EQ(arraysim::encodeDsmRecord({}), (std::vector<std::uint8_t>{1, 0, 0}));
}

TEST(DsmRecord, RefusesAnEntryLongerThanItsLengthField) {
    EXPECT_THROW(arraysim::encodeDsmRecord({{std::string(70000, 'x'), "127.0.0.2"}}), std::length_error);
}
