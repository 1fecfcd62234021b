// A stream that keeps every message, up to a limit. No service creates one, but the reactor has the rule.
#include <string>
#include <vector>

#include "unit/ReactorFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int limit = 1001;
const std::string warning = "3 Write queue size is 1001, this may cause increased memory usage and latency";

class ReactorWithBacklog : public test::ReactorFixture {
 protected:
  ReactorWithBacklog() : ReactorFixture(false) {}

  /// Starts a write, and fills the queue behind it; the messages are numbered from 0.
  void FillQueue() {
    for (int i = 0; i <= limit; ++i) Write(std::to_string(i));
  }

  std::vector<std::string> Numbers(int count) const {
    std::vector<std::string> numbers;
    for (int i = 0; i < count; ++i) numbers.push_back(std::to_string(i));
    return numbers;
  }

  void CompleteAllWrites() {
    while (stream.Writing()) stream.CompleteWrite();
  }
};

TEST_F(ReactorWithBacklog, WritesAllMessagesOldestFirst) {
  for (const char* text : {"a", "b", "c"}) Write(text);
  EXPECT_THAT(stream.Sent(), ElementsAre("a"));
  CompleteAllWrites();
  EXPECT_THAT(stream.Sent(), ElementsAre("a", "b", "c"));
}

TEST_F(ReactorWithBacklog, AcceptsOneThousandAndOnePendingMessages) {
  FillQueue();
  EXPECT_THAT(log.Texts(), IsEmpty());
  CompleteAllWrites();
  EXPECT_EQ(stream.Sent(), Numbers(limit + 1));
}

TEST_F(ReactorWithBacklog, DropsEveryFurtherMessageWithAWarningEach) {
  FillQueue();
  EXPECT_TRUE(Write("late").expired());
  EXPECT_TRUE(Write("later").expired());
  EXPECT_THAT(log.Texts(), ElementsAre(warning, warning));
  EXPECT_EQ(log.Lines().at(0).format, "Write queue size is %zu, this may cause increased memory usage and latency");
  CompleteAllWrites();
  EXPECT_EQ(stream.Sent(), Numbers(limit + 1));
}

TEST_F(ReactorWithBacklog, AcceptsAgainWhenAWriteHasCompleted) {
  FillQueue();
  stream.CompleteWrite();
  Write("fits");
  EXPECT_THAT(log.Texts(), IsEmpty());
  Write("does not");
  EXPECT_THAT(log.Texts(), ElementsAre(warning));
  CompleteAllWrites();
  EXPECT_EQ(stream.Sent().back(), "fits");
}

TEST_F(ReactorWithBacklog, FreesWhatIsQueuedWhenItIsDone) {
  Write("in flight");
  const auto first = Write("first");
  const auto second = Write("second");
  stream.Cancel();
  stream.CompleteWrite(false);
  EXPECT_FALSE(first.expired());
  EXPECT_FALSE(second.expired());
  stream.Done();
  EXPECT_TRUE(first.expired());
  EXPECT_TRUE(second.expired());
}

}  // namespace
