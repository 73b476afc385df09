#include "reactive/String.h"

#include <gtest/gtest.h>

namespace {

using Vek::Name;
using Vek::String;

TEST(StringTest, EmptyTextIsTheNullReference) {
  EXPECT_TRUE(String().empty());
  EXPECT_EQ(String(""), String());
  EXPECT_EQ(String("").rep(), nullptr);
  EXPECT_EQ(String(std::string()), String(nullptr));
  EXPECT_EQ(String().stdString(), "");
  EXPECT_EQ(String() + String("a"), String("a"));
  EXPECT_EQ(String("a") + String(), String("a"));
  EXPECT_EQ(String("a") + String("|") + String("b"), String("a|b"));
}

TEST(StringTest, CopiesAndConversionsShareTheRepresentation) {
  String s("aa:bb:cc");
  Name n = s;
  String back = n;
  EXPECT_EQ(n.rep(), s.rep());
  EXPECT_EQ(back.rep(), s.rep());
  EXPECT_TRUE(n == s);
  EXPECT_EQ(s.rep()->references(), 3u);
}

TEST(StringTest, EqualityAndOrderAreByText) {
  String a("abc", 2);
  EXPECT_EQ(a, String("ab"));
  EXPECT_NE(a.rep(), String("ab").rep());
  EXPECT_TRUE(String("a") < String("b"));
  EXPECT_FALSE(String("b") < String("a"));
  EXPECT_TRUE(String() < String("a"));
  EXPECT_EQ(String("x").hash(), String(std::string("x")).hash());
}

}  // namespace
