#include "core/support/strings.h"

#include <gtest/gtest.h>

#include <QString>

using namespace Qt::StringLiterals;

namespace vf {
namespace {

// isInteger picks the pid column out of a process table row.
TEST(StringsTest, IsIntegerReadsTheLeadingValue) {
    for (const QString& yes : {u"42"_s, u"-7"_s, u" 12"_s, u"12ab"_s, u"0"_s, u"+5"_s, u"\t\n 3x"_s,
                               u"007"_s, u"99999999999999999999"_s}) {
        EXPECT_TRUE(isInteger(yes)) << yes.toStdString();
    }
    for (const QString& no : {u""_s, u"abc"_s, u"00"_s, u"0x1"_s, u"-0"_s, u" 0"_s, u"-"_s, u"- 3"_s}) {
        EXPECT_FALSE(isInteger(no)) << no.toStdString();
    }
}

}  // namespace
}  // namespace vf
