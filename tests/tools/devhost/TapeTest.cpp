#include "devhost/replay/Tape.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "RecordingFile.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;
using ::corvalux::client::Record;
using ::corvalux::client::Stream;
using replay::Seconds;
using replay::Step;
using replay::Tape;
using sim::Event;
using testing::HasSubstr;

const std::string empty;  // a message without entries

class TapeTest : public testing::Test {
 protected:
  void Write(const std::vector<Record>& records) const { test::writeRecording(path, records); }

  /// The next `count` steps, or fewer.
  static std::vector<Step> Take(Tape& tape, std::size_t count) {
    std::vector<Step> steps;
    while (steps.size() < count) {
      auto step = tape.Next();
      if (!step) break;
      steps.push_back(std::move(*step));
    }
    return steps;
  }

  static std::vector<double> Times(const std::vector<Step>& steps) {
    std::vector<double> times;
    for (const Step& step : steps) times.push_back(step.time.count());
    return times;
  }

  /// What the constructor says.
  std::string Refusal() const {
    try {
      const Tape tape(path, false);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  const test::TempDir dir;
  const std::string path = (dir.Path() / "a.recording").string();
};

TEST_F(TapeTest, GivesEachStreamAsItsEventAtItsTime) {
  Write({{Stream::slow, 500ms, empty}, {Stream::fast, 540ms, empty}, {Stream::changes, 1500ms, empty}});
  Tape tape(path, false);
  const auto steps = Take(tape, 9);
  ASSERT_EQ(steps.size(), 3U);
  EXPECT_EQ(steps[0].event, Event::meterSlow);
  EXPECT_EQ(steps[1].event, Event::meterFast);
  EXPECT_EQ(steps[2].event, Event::changes);
  EXPECT_THAT(Times(steps), testing::Pointwise(testing::DoubleNear(1e-9), {0.0, 0.04, 1.0}));
  EXPECT_NEAR(tape.End().count(), 1.5, 1e-9);
  EXPECT_EQ(tape.Failure(), "");
}

TEST_F(TapeTest, InALoopBeginsAgainAfterTheMeanDistanceOfTwoMessages) {
  Write({{Stream::fast, 100ms, empty}, {Stream::fast, 140ms, empty}, {Stream::fast, 200ms, empty}});
  Tape tape(path, true);
  EXPECT_THAT(Times(Take(tape, 7)),
              testing::Pointwise(testing::DoubleNear(1e-9), {0.0, 0.04, 0.1, 0.15, 0.19, 0.25, 0.3}));
  EXPECT_EQ(tape.Failure(), "");
}

TEST_F(TapeTest, InALoopOfOneMessageGivesItOnceASecond) {
  Write({{Stream::fast, 7s, empty}});
  Tape tape(path, true);
  EXPECT_THAT(Times(Take(tape, 3)), testing::Pointwise(testing::DoubleNear(1e-9), {0.0, 1.0, 2.0}));
}

TEST_F(TapeTest, CutOffAnywhereGivesAllBeforeTheCutAndSaysSo) {
  Write({{Stream::fast, 0s, empty}});
  const auto one = std::filesystem::file_size(path);
  Write({{Stream::fast, 0s, empty}, {Stream::fast, 1ms, empty}});
  const std::string cut = (dir.Path() / "cut").string();
  for (auto size = one + 1; size < std::filesystem::file_size(path); ++size) {
    for (const bool loop : {false, true}) {
      test::copyBeginning(path, cut, size);
      Tape tape(cut, loop);
      EXPECT_EQ(Take(tape, 9).size(), 1U);
      EXPECT_THAT(tape.Failure(), HasSubstr("is cut off at byte " + std::to_string(one) + ", after 1 record"));
    }
  }
}

TEST_F(TapeTest, EndsBeforeAMessageThatTheModuleCannotSend) {
  for (const std::string message : {"\x0A", "\x7A\x01x", "\x0A\x02\x0A\x01"}) {
    Write({{Stream::fast, 0s, empty}, {Stream::fast, 1ms, message}, {Stream::fast, 2ms, empty}});
    Tape tape(path, true);
    EXPECT_EQ(Take(tape, 9).size(), 1U);
    EXPECT_EQ(tape.Failure(),
              "the recording '" + path + "' holds, after 1 record, a message that the module cannot send");
    EXPECT_FALSE(tape.Next());
  }
}

TEST_F(TapeTest, InALoopSaysThatTheFileWentAway) {
  Write({{Stream::fast, 0s, empty}, {Stream::fast, 1ms, empty}});
  Tape tape(path, true);
  std::filesystem::remove(path);
  EXPECT_EQ(Take(tape, 9).size(), 2U);
  EXPECT_THAT(tape.Failure(), HasSubstr("cannot be opened: No such file or directory"));
}

TEST_F(TapeTest, RefusesWhatIsNoRecordingOrHoldsNothing) {
  EXPECT_THAT(Refusal(), HasSubstr("cannot be opened"));
  Write({});
  EXPECT_THAT(Refusal(), HasSubstr("holds no messages"));
  test::copyBeginning(path, path + ".cut", 10);
  std::filesystem::rename(path + ".cut", path);
  EXPECT_THAT(Refusal(), HasSubstr("is no recording"));
}

}  // namespace
