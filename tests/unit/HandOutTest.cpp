// Completions of writes wait for the publisher's hand-out.
#include <optional>
#include <thread>

#include "unit/Completion.h"
#include "unit/PublisherFixture.h"

namespace {

using test::Call;
using test::Completion;
using test::Probe;
using testing::ElementsAre;
using testing::IsEmpty;

/// Two clients. An action within the second one's write runs in the middle of a hand-out: the first one has its message
/// already.
class HandOut : public test::PublisherFixture<Probe> {
 protected:
  void PublishAndMeanwhile(const std::function<void()>& action) {
    second.stream.SetOnWrite(action);
    publisher.Publish(probe);
    second.stream.SetOnWrite({});
  }

  void Complete(bool ok = true) {
    completion.emplace([this, ok] { first.stream.CompleteWrite(ok); });
  }

  Probe probe;
  Call<Probe> first{Subscribe()};
  Call<Probe> second{Subscribe()};
  std::optional<Completion> completion;
};

TEST_F(HandOut, IsOverBeforeItsFirstCompletionIsHandled) {
  PublishAndMeanwhile([&] {
    Complete();
    EXPECT_TRUE(completion->Waits());
  });
  EXPECT_TRUE(completion->Passes());
  publisher.Publish(probe);
  EXPECT_THAT(first.stream.Sent(), ElementsAre("probe", "probe"));
}

TEST_F(HandOut, IsOverBeforeAFailedWriteIsHandled) {
  PublishAndMeanwhile([&] {
    Complete(false);
    EXPECT_TRUE(completion->Waits());
    EXPECT_THAT(log.Texts(), IsEmpty());
  });
  EXPECT_TRUE(completion->Passes());
  EXPECT_EQ(log.Count(1, "OnWriteDone Cancelled!"), 1U);
  EXPECT_EQ(first.stream.Finishes().size(), 1U);
}

TEST_F(HandOut, DoesNotDelayTheCompletionsOfAnotherPublisher) {
  corvalux::grpc::PublisherGeneric<Probe> other;
  Call<Probe> stranger(owner->CreateStream(&other));
  other.Publish(probe);
  PublishAndMeanwhile([&] {
    completion.emplace([&] { stranger.stream.CompleteWrite(); });
    EXPECT_TRUE(completion->Passes());
  });
}

TEST_F(HandOut, DoesNotWaitForACompletionOnItsOwnThread) {
  PublishAndMeanwhile([&] { first.stream.CompleteWrite(); });
  EXPECT_FALSE(first.stream.Writing());
}

TEST_F(HandOut, IsOverWhenAWriteThrows) {
  EXPECT_THROW(PublishAndMeanwhile([] { throw 42; }), int);
  Complete();
  EXPECT_TRUE(completion->Passes());
}

}  // namespace
