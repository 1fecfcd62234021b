#include <gtest/gtest.h>

#include <string>

#include "gateway/keys/Patterns.h"

namespace corvalux::gateway {

namespace {

bool matches(const std::string& pattern, const std::string& key) { return Pattern(pattern).Matches(key); }

}  // namespace

TEST(Pattern, WithoutStarsMatchesItsKeyOnly) {
  EXPECT_TRUE(matches("input/1/peak", "input/1/peak"));
  EXPECT_FALSE(matches("input/1/peak", "input/1/peak2"));
  EXPECT_FALSE(matches("input/1/peak", "input/1/pea"));
  EXPECT_FALSE(matches("input/1/peak", ""));
  EXPECT_TRUE(Pattern("input/1").IsKey());
  EXPECT_FALSE(Pattern("input/*").IsKey());
}

TEST(Pattern, StarStaysWithinItsSegment) {
  EXPECT_TRUE(matches("input/*/peak", "input/12/peak"));
  EXPECT_TRUE(matches("input/*/peak", "input//peak"));
  EXPECT_FALSE(matches("input/*/peak", "input/1/2/peak"));
  EXPECT_TRUE(matches("in*", "input"));
  EXPECT_FALSE(matches("in*", "input/1"));
  EXPECT_TRUE(matches("*a*b*", "xxaxxbxx"));
  EXPECT_FALSE(matches("*a*b*", "xxa/xbxx"));
}

TEST(Pattern, TwoStarsCrossSegments) {
  EXPECT_TRUE(matches("**/peak", "input/1/peak"));
  EXPECT_TRUE(matches("**/peak", "/peak"));
  EXPECT_FALSE(matches("**/peak", "peak"));
  EXPECT_TRUE(matches("**", ""));
  EXPECT_TRUE(matches("**", "a/b/c"));
  EXPECT_TRUE(matches("a**c", "a/b/c"));
  EXPECT_TRUE(matches("**/*/peak", "a/b/c/peak"));
  EXPECT_FALSE(matches("**/x*/peak", "a/b/c/peak"));
}

TEST(Pattern, ManyStarsInARowAreTwo) {
  EXPECT_TRUE(matches("a***b", "a/x/b"));
  EXPECT_TRUE(matches("a****", "a"));
}

TEST(Pattern, TakesAnyBytes) {
  EXPECT_TRUE(matches("K\xC3\xB6nig/*", "K\xC3\xB6nig/1"));
  EXPECT_FALSE(matches("K\xC3\xB6nig/*", "K\xC3\xBCnig/1"));
  EXPECT_TRUE(matches("\xFF*", "\xFFx"));
}

TEST(Pattern, LongestMatchesAndLongerIsRefused) {
  const std::string key(Pattern::longest, 'k');
  EXPECT_TRUE(matches(key, key));
  EXPECT_THROW(Pattern(key + "k"), std::invalid_argument);
  EXPECT_THROW(Pattern(""), std::invalid_argument);
  EXPECT_THROW(Pattern("a\nb"), std::invalid_argument);
}

TEST(Patterns, MatchIfAnyDoesAndAllWithoutOne) {
  const Patterns some({"a/*", "b"});
  EXPECT_TRUE(some.Match("a/1"));
  EXPECT_TRUE(some.Match("b"));
  EXPECT_FALSE(some.Match("c"));
  EXPECT_TRUE(Patterns().Match("anything"));
}

TEST(Patterns, HaveTheSameNameInWhateverOrder) {
  EXPECT_EQ(Patterns({"a", "b", "a"}).Name(), Patterns({"b", "a"}).Name());
  EXPECT_NE(Patterns({"a", "b"}).Name(), Patterns({"a"}).Name());
  EXPECT_NE(Patterns({"ab"}).Name(), Patterns({"a", "b"}).Name());
}

}  // namespace corvalux::gateway
