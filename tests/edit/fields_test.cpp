#include <gtest/gtest.h>

#include "edit/edit_fields.h"

namespace marvik {
namespace {

TEST(EditFields, WordsAndQuotedValuesComeBack) {
  const EditArguments all = SplitEditArguments(" C1  x=0.5\tTitle=\"a b\" O1 q=\"say \"\"so\"\"\" e= =3 ");
  EXPECT_EQ(all.atoms, "C1 O1 =3");
  ASSERT_EQ(all.fields.size(), 4u);
  EXPECT_EQ(*all.Find("x"), "0.5");
  EXPECT_EQ(*all.Find("title"), "a b") << "keys in either case";
  EXPECT_EQ(*all.Find("q"), "say \"so\"");
  EXPECT_EQ(*all.Find("e"), "");
  EXPECT_EQ(all.Find("y"), nullptr);
  EXPECT_EQ(JoinEditArguments(all), "C1 O1 =3 x=0.5 title=\"a b\" q=\"say \"\"so\"\"\" e=");
  for (const char* text : {"a=\"", "a=\"b", "a=\"b\"c", "a=\"b c", "\"x y\"", "a=b=\"c d\""}) {
    const std::string joined = JoinEditArguments(SplitEditArguments(text));
    EXPECT_EQ(JoinEditArguments(SplitEditArguments(joined)), joined) << text;
  }
  EXPECT_EQ(SplitEditArguments("a=\"b c").fields[0].value, "\"b") << "a quote without its end is a character";
}

TEST(EditFields, NumbersKeepToTheirRangeAndSaySo) {
  const FieldRange u{"u", "Uiso", -0.5, 5.0};
  EditFault fault;
  const auto said = [&](const char* text, bool whole = false) {
    fault = {};
    const bool taken =
        whole ? ReadFieldInteger(u, text, fault).has_value() : ReadFieldNumber(u, text, fault).has_value();
    EXPECT_EQ(taken, fault.text.empty()) << text;
    return fault.text;
  };
  for (const char* good : {"-0.5", "5", " 1.25 ", "5.0"}) EXPECT_EQ(said(good), "");
  EXPECT_EQ(*ReadFieldNumber(u, "1.25", fault), 1.25);
  EXPECT_EQ(said(" "), "Uiso: a number is missing.");
  EXPECT_EQ(said("1,5"), "Uiso: \"1,5\" is not a number; the decimal separator is a point.");
  EXPECT_EQ(said("x"), "Uiso: \"x\" is not a number.");
  EXPECT_EQ(said("5.01"), "Uiso: 5.01 is not between -0.5 and 5.");
  EXPECT_EQ(said("-0.51"), "Uiso: -0.51 is not between -0.5 and 5.");
  EXPECT_EQ(said("1.5", true), "Uiso: \"1.5\" is not a whole number.");
  EXPECT_EQ(said("7", true), "Uiso: 7 is not between -0.5 and 5.");
  EXPECT_EQ(*ReadFieldInteger(u, "4", fault), 4);
  EXPECT_EQ(ValuesOf(u), "-0.5..5");
  const FieldRange known[] = {u, {"x", "x", 0.0, 1.0}};
  EXPECT_EQ(UnknownFieldFault(SplitEditArguments("C1 x=1 v=2"), known).text,
            "v: there is no such field; there are u, x.");
  EXPECT_EQ(UnknownFieldFault(SplitEditArguments("x=1 u=2 X=3"), known).text, "x: the field is given twice.");
  EXPECT_EQ(UnknownFieldFault(SplitEditArguments("x=1 u=2"), known).text, "");
}

TEST(EditFields, TextsHaveNoMoreDigitsThanTheyNeed) {
  EXPECT_EQ(FieldText(1.25, 5), "1.25");
  EXPECT_EQ(FieldText(2.0, 3), "2");
  EXPECT_EQ(FieldText(100.0, 0), "100");
  EXPECT_EQ(FieldText(-0.00001, 3), "0");
  EXPECT_EQ(FieldText(-0.5, 3), "-0.5");
}

}  // namespace
}  // namespace marvik
