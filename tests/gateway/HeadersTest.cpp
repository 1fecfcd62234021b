#include "gateway/fleet/Headers.h"

#include <gmock/gmock.h>

#include <string>

#include "gateway/fleet/Report.h"
#include "gateway/fleet/Subjects.h"

namespace corvalux::gateway {

namespace {

using testing::Optional;

/// Headers that are right, but for what a test changes.
struct Texts {
  std::string origin = "alpha 00000000000000ff";
  std::string sequence = "7";
  std::string age = "0.250000";
  std::string clock = "12.500000";
  std::string part;

  std::optional<Headers> Read() const { return headersOf({origin, sequence, age, clock, part}); }
};

bool isOrigin(const std::string& text) {
  Texts texts;
  texts.origin = text;
  return texts.Read().has_value();
}

bool isClock(const std::string& text) {
  Texts texts;
  texts.clock = text;
  return texts.Read().has_value();
}

}  // namespace

TEST(FleetHeaders, AreReadAsTheyWereWritten) {
  const auto headers = Texts().Read();
  ASSERT_TRUE(headers);
  EXPECT_EQ(headers->origin, (Origin{0xff, "alpha"}));
  EXPECT_EQ(headers->sequence, 7U);
  EXPECT_DOUBLE_EQ(headers->age, 0.25);
  EXPECT_DOUBLE_EQ(headers->clock, 12.5);
  EXPECT_EQ(textOf(headers->origin), Texts().origin);
  EXPECT_EQ(textOf(headers->clock), Texts().clock);
}

TEST(FleetHeaders, KeepEveryDigitOfAStart) {
  for (const uint64_t start : {uint64_t{0}, uint64_t{1}, ~uint64_t{0}, uint64_t{1} << 60}) {
    Texts texts;
    texts.origin = textOf(Origin{start, "a"});
    EXPECT_EQ(texts.origin.size(), 18U);
    EXPECT_EQ(texts.Read()->origin.start, start);
  }
}

TEST(FleetHeaders, NeedAnOriginAndAClock) {
  EXPECT_FALSE(isOrigin(""));
  EXPECT_FALSE(isClock(""));
  Texts bare;
  bare.sequence = bare.age = "";
  EXPECT_TRUE(bare.Read());
}

TEST(FleetHeaders, RefuseWhatIsNoOrigin) {
  for (const char* text :
       {" ", "alpha", "alpha ", "alpha 0", "alpha 00000000000000fg", "alpha  0000000000000ff", "a.b 00000000000000ff",
        "alpha 00000000000000ff ", "alpha -0000000000000ff", " 00000000000000ff"}) {
    EXPECT_FALSE(isOrigin(text)) << text;
  }
  EXPECT_FALSE(isOrigin(std::string(65, 'a') + " 00000000000000ff"));
}

TEST(FleetHeaders, RefuseWhatIsNoTime) {
  for (const char* text : {"-1", "nan", "inf", "1e3", "1,5", "0x1", "1 ", " 1", "1e999", "9999999999999"}) {
    EXPECT_FALSE(isClock(text)) << text;
  }
}

TEST(FleetHeaders, RefuseNumbersThatAreNone) {
  for (const char* text : {"-1", "1.5", "18446744073709551616", "one", "1 "}) {
    Texts texts;
    texts.sequence = text;
    EXPECT_FALSE(texts.Read()) << text;
    texts.sequence = "1";
    texts.part = text;
    EXPECT_FALSE(texts.Read()) << text;
  }
}

TEST(FleetSubjects, AreReadAsTheyWereWritten) {
  EXPECT_EQ(subjectOf("desk", Topic::changes), "corvalux.v1.desk.changes");
  for (const Topic topic : {Topic::fast, Topic::slow, Topic::changes, Topic::state, Topic::picture}) {
    const auto subject = subjectIn(subjectOf("desk", topic));
    ASSERT_TRUE(subject);
    EXPECT_EQ(subject->device, "desk");
    EXPECT_EQ(subject->topic, topic);
  }
  EXPECT_EQ(streamOf(Topic::slow), client::Stream::slow);
  EXPECT_EQ(streamOf(Topic::state), std::nullopt);
}

TEST(FleetSubjects, RefuseWhatIsNoneOfTheFleets) {
  for (const char* text :
       {"", "corvalux.v1.desk", "corvalux.v1..fast", "corvalux.v1.desk.fast.more", "corvalux.v2.desk.fast",
        "corvalux.v1.desk.", "corvalux.v1.de sk.fast", "corvalux.v1.*.fast", "corvalux.v1.desk.FAST"}) {
    EXPECT_FALSE(subjectIn(text)) << text;
  }
  EXPECT_FALSE(subjectIn("corvalux.v1." + std::string(65, 'a') + ".fast"));
}

TEST(FleetReports, AreReadAsTheyWereWritten) {
  Report report{"lost", "cannot \"be\" reached: \xc3\xa4", 12.5, "10.0.0.5:50005", true, true, 42};
  const auto read = reportOf(jsonOf(report));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->state, report.state);
  EXPECT_EQ(read->reason, report.reason);
  EXPECT_EQ(read->address, report.address);
  EXPECT_TRUE(read->speaks && read->gone);
  EXPECT_EQ(read->changes, 42U);
}

TEST(FleetReports, MayHaveMembersThatAreUnknown) { EXPECT_TRUE(reportOf(R"({"speaks":true,"new":[{}]})")); }

TEST(FleetReports, RefuseWhatNobodyWrites) {
  for (const char* text : {"", "{", "[]", "null", "{}", R"({"speaks":1})", R"({"speaks":true,"changes":-1})",
                           R"({"speaks":true,"reason":5})", R"({"speaks":true}x)", "\xff"}) {
    EXPECT_FALSE(reportOf(text)) << text;
  }
  EXPECT_FALSE(reportOf(std::string(100'000, '[')));
  EXPECT_FALSE(reportOf(R"({"speaks":true,"reason":")" + std::string(20'000, 'x') + "\"}"));
}

TEST(FleetReports, HaveReasonsThatCanBeShown) {
  const auto report = reportOf(R"({"speaks":true,"reason":")" + std::string(5'000, 'x') + "\"}");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->reason.size(), 1'000U);
}

}  // namespace corvalux::gateway
