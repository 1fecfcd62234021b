// How a stream writes: one message at a time, and next the newest.
#include <stdexcept>
#include <string>

#include "unit/ReactorFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Reactor : public test::ReactorFixture {};

TEST_F(Reactor, WriteStartsAtOnceWhenIdle) {
  Write("one");
  EXPECT_THAT(stream.Sent(), ElementsAre("one"));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Reactor, WritesTheBufferItWasGiven) {
  const test::Buffer buffer = test::bufferOf("one");
  reactor->Write(buffer);
  EXPECT_EQ(stream.Writes().at(0).buffer, buffer.get());
}

TEST_F(Reactor, WritesUncompressedAndUnbuffered) {
  Write("one");
  Write("two");
  stream.CompleteWrite();
  ASSERT_EQ(stream.Writes().size(), 2U);
  for (const auto& written : stream.Writes()) {
    EXPECT_EQ(written.options.flags(), 6U);
    EXPECT_TRUE(written.options.get_no_compression());
    EXPECT_TRUE(written.options.is_write_through());
    EXPECT_FALSE(written.options.is_last_message());
  }
}

TEST_F(Reactor, OnlyTheNewestOfThreePendingMessagesIsWritten) {
  Write("in flight");
  const auto first = Write("first");
  const auto second = Write("second");
  const auto third = Write("third");
  EXPECT_TRUE(first.expired());
  EXPECT_TRUE(second.expired());
  EXPECT_FALSE(third.expired());
  EXPECT_THAT(stream.Sent(), ElementsAre("in flight"));
  stream.CompleteWrite();
  EXPECT_THAT(stream.Sent(), ElementsAre("in flight", "third"));
  stream.CompleteWrite();
  EXPECT_THAT(stream.Sent(), ElementsAre("in flight", "third"));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Reactor, CompletedWriteWithoutPendingMessageLeavesItIdle) {
  Write("one");
  stream.CompleteWrite();
  EXPECT_FALSE(stream.Writing());
  Write("two");
  EXPECT_THAT(stream.Sent(), ElementsAre("one", "two"));
}

TEST_F(Reactor, MessageInFlightLivesUntilItsWriteCompletes) {
  const auto message = Write("one");
  EXPECT_FALSE(message.expired());
  stream.CompleteWrite();
  EXPECT_TRUE(message.expired());
}

TEST_F(Reactor, ExceptionWhileStartingAWriteIsAWarning) {
  stream.SetOnWrite([] { throw std::runtime_error("broken pipe"); });
  EXPECT_NO_THROW(Write("one"));
  EXPECT_THAT(log.Texts(), ElementsAre("3 Write() broken pipe"));
  EXPECT_EQ(log.Lines().at(0).format, "%s() %s");
}

TEST_F(Reactor, MessageWhoseWriteThrewStaysInFlight) {
  stream.SetOnWrite([] { throw std::runtime_error("broken pipe"); });
  const auto failed = Write("one");
  stream.SetOnWrite({});
  EXPECT_FALSE(failed.expired());
  Write("two");
  EXPECT_THAT(stream.Sent(), IsEmpty());
  reactor->OnWriteDone(true);
  EXPECT_TRUE(failed.expired());
  EXPECT_THAT(stream.Sent(), ElementsAre("two"));
}

TEST_F(Reactor, ExceptionOfAnotherTypeLeavesWriteWithItsMutexReleased) {
  stream.SetOnWrite([] { throw 42; });
  EXPECT_THROW(Write("one"), int);
  EXPECT_THAT(log.Texts(), IsEmpty());
  stream.SetOnWrite({});
  Write("two");
  reactor->OnWriteDone(true);
  EXPECT_THAT(stream.Sent(), ElementsAre("two"));
}

TEST_F(Reactor, LogLinesNameTheirSource) {
  stream.SetOnWrite([] { throw std::runtime_error("broken pipe"); });
  Write("one");
  EXPECT_EQ(log.Lines().at(0).file, "src/module/grpc/WriterReactorGeneric.h");
}

TEST_F(Reactor, IsNotRunInline) { EXPECT_FALSE(reactor->InternalInlineable()); }

TEST_F(Reactor, IgnoresThatMetadataWasSent) {
  reactor->OnSendInitialMetadataDone(false);
  EXPECT_TRUE(Subscribed());
  EXPECT_THAT(stream.Finishes(), IsEmpty());
}

class UnboundReactor : public test::ReactorFixture {
 protected:
  UnboundReactor() : ReactorFixture(true, false) {}
};

TEST_F(UnboundReactor, WriteIsIssuedWhenTheStreamIsBound) {
  Write("early");
  EXPECT_THAT(stream.Sent(), IsEmpty());
  stream.Bind();
  EXPECT_THAT(stream.Sent(), ElementsAre("early"));
  EXPECT_EQ(stream.Writes().at(0).options.flags(), 6U);
}

TEST_F(UnboundReactor, LaterWritesWaitBehindTheFirst) {
  Write("early");
  Write("skipped");
  Write("newest");
  stream.Bind();
  EXPECT_THAT(stream.Sent(), ElementsAre("early"));
  stream.CompleteWrite();
  EXPECT_THAT(stream.Sent(), ElementsAre("early", "newest"));
}

TEST_F(UnboundReactor, IsFinishedWhenTheStreamIsBound) {
  reactor->FinishAndRemove();
  EXPECT_FALSE(Subscribed());
  stream.Bind();
  ASSERT_EQ(stream.Finishes().size(), 1U);
  EXPECT_EQ(stream.Finishes().at(0).error_code(), grpc::StatusCode::CANCELLED);
}

}  // namespace
