// How a stream ends: by the client, by a failed write, by the module, by misuse. Exactly once, and with these log
// lines.
#include <memory>
#include <string>

#include "unit/ReactorFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string done = "1 OnDone invoked: cleaning up reactor %p";
const std::string cancel = "1 OnCancel invoked: cleaning up reactor %p";
const std::string writeFailed = "1 OnWriteDone Cancelled!";
const std::string removing = "1 removing reactor %p from publisher";
const std::string finishing = "1 calling Finish on reactor %p";
const std::string tooLate = "1 !! Finish called on reactor which was already removed %p";
const std::string readMisuse = "4 Reactor %p only supports write operations, but it was used on a read operation";

class ReactorEnd : public test::ReactorFixture {
 protected:
  void ExpectFinishedOnceWithCancelled() const {
    ASSERT_EQ(stream.Finishes().size(), 1U);
    EXPECT_EQ(stream.Finishes().at(0).error_code(), grpc::StatusCode::CANCELLED);
    EXPECT_EQ(stream.Finishes().at(0).error_message(), "");
  }
  void ExpectLines(const Lines& lines) const { EXPECT_EQ(log.Texts(), WithAddress(lines)); }
};

TEST_F(ReactorEnd, CancelUnsubscribesAndFinishesWithCancelled) {
  stream.Cancel();
  EXPECT_FALSE(Subscribed());
  ExpectFinishedOnceWithCancelled();
  ExpectLines({cancel, removing, finishing});
}

TEST_F(ReactorEnd, FailedWriteUnsubscribesAndFinishesWithCancelled) {
  const auto message = Write("one");
  stream.CompleteWrite(false);
  EXPECT_TRUE(message.expired());
  EXPECT_FALSE(Subscribed());
  ExpectFinishedOnceWithCancelled();
  ExpectLines({writeFailed, removing, finishing});
}

TEST_F(ReactorEnd, ShutdownUnsubscribesAndFinishesWithCancelled) {
  reactor->FinishAndRemove();
  EXPECT_FALSE(Subscribed());
  ExpectFinishedOnceWithCancelled();
  ExpectLines({removing, finishing});
}

TEST_F(ReactorEnd, CancelThenFailedWriteFinishesOnce) {
  const auto message = Write("one");
  stream.Cancel();
  EXPECT_FALSE(message.expired());
  stream.CompleteWrite(false);
  EXPECT_TRUE(message.expired());
  ExpectFinishedOnceWithCancelled();
  ExpectLines({cancel, removing, finishing, writeFailed, removing, tooLate});
}

TEST_F(ReactorEnd, FailedWriteThenCancelFinishesOnce) {
  Write("one");
  stream.CompleteWrite(false);
  stream.Cancel();
  ExpectFinishedOnceWithCancelled();
  ExpectLines({writeFailed, removing, finishing, cancel, removing, tooLate});
}

TEST_F(ReactorEnd, ShutdownThenCancelFinishesOnce) {
  reactor->FinishAndRemove();
  stream.Cancel();
  ExpectFinishedOnceWithCancelled();
  ExpectLines({removing, finishing, cancel, removing, tooLate});
}

TEST_F(ReactorEnd, FailedWriteStartsNoPendingMessage) {
  Write("one");
  Write("two");
  stream.CompleteWrite(false);
  EXPECT_THAT(stream.Sent(), ElementsAre("one"));
}

TEST_F(ReactorEnd, WriteAfterTheEndIsDroppedSilently) {
  stream.Cancel();
  log.Clear();
  EXPECT_TRUE(Write("late").expired());
  EXPECT_THAT(stream.Sent(), IsEmpty());
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(ReactorEnd, WriteThatCompletesAfterTheEndIsFollowedByNothing) {
  const auto inFlight = Write("in flight");
  const auto pending = Write("pending");
  stream.Cancel();
  log.Clear();
  stream.CompleteWrite(true);
  EXPECT_TRUE(inFlight.expired());
  EXPECT_FALSE(pending.expired());
  EXPECT_THAT(stream.Sent(), ElementsAre("in flight"));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(ReactorEnd, LinesCarryTheirFormats) {
  Write("one");
  stream.Cancel();
  stream.CompleteWrite(false);
  stream.Done();
  std::vector<std::string> formats;
  for (const auto& line : log.Lines()) formats.push_back(std::to_string(line.level) + " " + line.format);
  EXPECT_THAT(formats, ElementsAre(cancel, removing, finishing, writeFailed, removing, tooLate, done));
}

class ReadOnReactor : public ReactorEnd, public testing::WithParamInterface<bool> {
 protected:
  static void ExpectInternal(const ::grpc::Status& status) {
    EXPECT_EQ(status.error_code(), grpc::StatusCode::INTERNAL);
    EXPECT_EQ(static_cast<int>(status.error_code()), 13);
    EXPECT_EQ(status.error_message(), "This reactor does not support reading");
  }
};

INSTANTIATE_TEST_SUITE_P(OkAndNot, ReadOnReactor, testing::Bool());

TEST_P(ReadOnReactor, FinishesWithInternal) {
  stream.CompleteRead(GetParam());
  ASSERT_EQ(stream.Finishes().size(), 1U);
  ExpectInternal(stream.Finishes().at(0));
  EXPECT_FALSE(Subscribed());
  ExpectLines({readMisuse});
}

TEST_P(ReadOnReactor, FinishesEvenWhenAlreadyRemoved) {
  stream.Cancel();
  stream.CompleteRead(GetParam());
  ASSERT_EQ(stream.Finishes().size(), 2U);
  EXPECT_EQ(stream.Finishes().at(0).error_code(), grpc::StatusCode::CANCELLED);
  ExpectInternal(stream.Finishes().at(1));
  ExpectLines({cancel, removing, finishing, readMisuse});
}

TEST_P(ReadOnReactor, EndsWritingAndIsNotFinishedAgainByCancel) {
  Write("in flight");
  Write("pending");
  stream.CompleteRead(GetParam());
  stream.CompleteWrite();
  EXPECT_TRUE(Write("late").expired());
  EXPECT_THAT(stream.Sent(), ElementsAre("in flight"));
  stream.Cancel();
  EXPECT_EQ(stream.Finishes().size(), 1U);
  ExpectLines({readMisuse, cancel, removing, tooLate});
}

TEST_F(ReactorEnd, DoneReachesTheOwnerBeforeTheReactorIsFreed) {
  Write("in flight");
  const auto pending = Write("pending");
  const void* reported = nullptr;
  bool alive = false;
  owner->onReactorDone = [&](const Reactor* gone) {
    reported = gone;
    alive = !pending.expired();
    ExpectLines({done});
  };
  const void* const expected = reactor;
  stream.Done();
  EXPECT_EQ(reported, expected);
  EXPECT_TRUE(alive);
  EXPECT_TRUE(pending.expired());
  EXPECT_TRUE(owner->Empty());
  ExpectLines({done});
}

TEST_F(ReactorEnd, DoneFreesTheMessageInFlight) {
  const auto message = Write("in flight");
  stream.Done();
  EXPECT_TRUE(message.expired());
}

TEST_F(ReactorEnd, FreesWhatIsQueuedThenItsOwnerThenTheMessageInFlight) {
  const auto inFlight = Write("in flight");
  const auto pending = Write("pending");
  bool queueFreed = false;
  bool inFlightKept = false;
  owner->onDestruction = [&] {
    queueFreed = pending.expired();
    inFlightKept = !inFlight.expired();
  };
  owner.reset();
  stream.Done();
  EXPECT_TRUE(queueFreed);
  EXPECT_TRUE(inFlightKept);
  EXPECT_TRUE(inFlight.expired());
}

TEST_F(ReactorEnd, KeepsItsOwnerUntilItIsFreed) {
  const std::weak_ptr<void> watch = owner;
  owner.reset();
  EXPECT_FALSE(watch.expired());
  stream.Cancel();
  EXPECT_FALSE(watch.expired());
  stream.Done();
  EXPECT_TRUE(watch.expired());
}

}  // namespace
