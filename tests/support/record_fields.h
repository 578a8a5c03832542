// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>

namespace support {

struct ExpectedField {
    const char* name;
    double found, expected;
};

/// A failure names the field.
inline void expectFields(std::initializer_list<ExpectedField> fields) {
    for (const ExpectedField& field : fields)
        EXPECT_EQ(field.found, field.expected) << field.name;
}

} // namespace support

/// A member of the SarMetadataRecord that `record` points to.
#define RECORD_FIELD(member, expected)                                                             \
    support::ExpectedField {                                                                       \
#member, double(record->member), double(expected)                                          \
    }
