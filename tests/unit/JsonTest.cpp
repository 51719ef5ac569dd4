#include "base/Json.h"
#include "base/Result.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace base::json;

TEST(Json, MissingAndWrongTypeAreTheSame) {
    const auto o = parseObject(R"({"s":"x","n":3,"f":2.5,"b":true,"big":1e300,"neg":-4,"null":null,
                                  "o":{},"a":[],"ns":"3"})");
    ASSERT_TRUE(o);
    EXPECT_EQ(string(*o, "s"), QStringLiteral("x"));
    EXPECT_FALSE(string(*o, "n"));
    EXPECT_FALSE(string(*o, "null"));
    EXPECT_FALSE(string(*o, "missing"));
    EXPECT_EQ(integer(*o, "n"), 3);
    EXPECT_EQ(integer(*o, "neg"), -4);
    EXPECT_FALSE(integer(*o, "f")) << "a fraction is no integer";
    EXPECT_FALSE(integer(*o, "big")) << "out of range";
    EXPECT_FALSE(integer(*o, "ns")) << "a number in a string is a string";
    EXPECT_EQ(number(*o, "f"), 2.5);
    EXPECT_EQ(boolean(*o, "b"), true);
    EXPECT_FALSE(boolean(*o, "n"));
    EXPECT_TRUE(object(*o, "o"));
    EXPECT_FALSE(object(*o, "a"));
    EXPECT_TRUE(array(*o, "a"));
    EXPECT_EQ(stringOr(*o, "n", "fallback"), QStringLiteral("fallback"));
    EXPECT_EQ(integerOr(*o, "f", 7), 7);

    EXPECT_FALSE(parseObject("[1,2]"));
    EXPECT_FALSE(parseObject("{\"a\":"));
    EXPECT_FALSE(parseObject(""));
}

TEST(Result, HoldsValueOrError) {
    struct Failure {
        QString text;
    };
    base::Result<int, Failure> good(4);
    base::Result<int, Failure> bad(Failure{"no"});
    ASSERT_TRUE(good.ok());
    EXPECT_EQ(*good, 4);
    ASSERT_FALSE(bad);
    EXPECT_EQ(bad.error().text, QStringLiteral("no"));
}
