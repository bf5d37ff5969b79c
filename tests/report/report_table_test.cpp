#include <gtest/gtest.h>
#include <limits>

#include "report/report.h"

namespace marvik::test {

TEST(ReportTable, QuotesWhatItsFormNeeds) {
  ReportTable table({"names", "value", "su", "u"});
  table.NameColumns("u", {"u11", "u22"});
  table.Texts({"O1'\"a,b", "\xc3\x85\xe9"});
  table.Measured(1.52346, 0.0019, 3);
  table.Numbers({0.01, 0.02}, 2);
  table.Texts({"x", "\xf0\x9d\x9b\xbc\xc0\x80\x80\x80"});
  table.Measured(std::numeric_limits<double>::quiet_NaN(), {}, 3);
  table.Numbers({0.03}, 2);
  EXPECT_EQ(table.CommaSeparated(),
            "name1,name2,value,su,u11,u22\n\"O1'\"\"a,b\",\xc3\x85\xe9,1.52346,0.00190,0.01,0.02\nx,"
            "\xf0\x9d\x9b\xbc\xc0\x80\x80\x80,,,0.03,\n");
  EXPECT_EQ(table.TabSeparated(),
            "name1\tname2\tvalue\tu11\tu22\nO1'\"a,b\t\xc3\x85\xe9\t1.5235(19)\t0.01\t0."
            "02\nx\t\xf0\x9d\x9b\xbc\xc0\x80\x80\x80\t-\t0.03\t-\n");
  EXPECT_EQ(
      table.Json(),
      "[\n  {\"names\":[\"O1'\\\"a,b\",\"\xc3\x85\xc3\xa9\"],\"value\":1.52346,\"su\":0.0019,\"u\":[0.01,0.02]},\n"
      "  "
      "{\"names\":[\"x\",\"\xf0\x9d\x9b\xbc\xc3\x80\xc2\x80\xc2\x80\xc2\x80\"],\"value\":null,\"su\":null,\"u\":[0.03]}"
      "\n ]");
  EXPECT_EQ(ReportTable({"a"}).Json(), "[]");
  EXPECT_EQ(WithoutTabs("ab\tÅ\tc\n\td"), "ab      Å       c\n        d");
  ReportTable large({"n"});
  large.Number(2.5e9, 0), large.Integer(-7), large.Missing();
  EXPECT_EQ(large.Json(0), "[\n{\"n\":2500000000.0},\n{\"n\":-7},\n{\"n\":null}\n]");
}

// The first and last of each range that UTF-8 allows, and what stands just outside (RFC 3629).
TEST(ReportTable, TakesUtf8AsItIsAndAnythingElseAsLatin1) {
  for (const char* good : {"\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xef\xbf\xbf",
                           "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"})
    EXPECT_EQ(Utf8Of(good), good);
  for (const char* bad : {"\xc1\xbf", "\xe0\x9f\x80", "\xed\xa0\x80", "\xf0\x8f\x80\x80", "\xf4\x90\x80\x80",
                          "\xf5\x80", "\x80", "\xc3", "\xe2\x82"}) {
    const std::string_view bytes = bad;
    std::string latin;
    for (const char c : bytes) latin += {static_cast<char>(c & 0x40 ? 0xc3 : 0xc2), static_cast<char>(c & 0xbf)};
    EXPECT_EQ(Utf8Of(bytes), latin);
  }
}

}  // namespace marvik::test
