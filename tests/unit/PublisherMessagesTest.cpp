// Real messages through the publisher: the library serialises small, larger and very large ones differently.
#include <grpcpp/support/slice.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "corvalux/grpc/streams.pb.h"
#include "support/StreamClient.h"
#include "unit/PublisherFixture.h"

namespace {

using corvalux::grpc::Meter;
using corvalux::grpc::Notification;
using test::Call;
using testing::ElementsAre;

constexpr std::size_t blockSize = 1024 * 1024;

template <typename T>
class PublisherOf : public test::PublisherFixture<T> {
 protected:
  /// A message of exactly this size: its only entry has a long key.
  static T MessageOfSize(std::size_t size) {
    T message;
    auto* entry = message.add_entries();
    while (message.ByteSizeLong() < size) entry->mutable_key()->append(size - message.ByteSizeLong(), 'k');
    while (message.ByteSizeLong() > size) entry->mutable_key()->pop_back();
    EXPECT_EQ(message.ByteSizeLong(), size);
    return message;
  }

  static std::vector<::grpc::Slice> SlicesOf(const test::ScriptedStream& stream) {
    std::vector<::grpc::Slice> slices;
    EXPECT_TRUE(stream.Writes().at(0).buffer->Dump(&slices).ok());
    return slices;
  }
};

using StreamMessages = testing::Types<Meter, Notification>;
TYPED_TEST_SUITE(PublisherOf, StreamMessages);

TYPED_TEST(PublisherOf, EmptyMessageIsDeliveredEmpty) {
  Call client(this->Subscribe());
  this->publisher.Publish(TypeParam());
  EXPECT_THAT(client.stream.Sent(), ElementsAre(""));
}

TYPED_TEST(PublisherOf, MessageOfTwentyThreeBytesIsDeliveredByteForByteInOneSlice) {
  Call client(this->Subscribe());
  const TypeParam message = this->MessageOfSize(23);
  this->publisher.Publish(message);
  EXPECT_THAT(client.stream.Sent(), ElementsAre(message.SerializeAsString()));
  EXPECT_EQ(this->SlicesOf(client.stream).size(), 1U);
}

TYPED_TEST(PublisherOf, MessageOfTwentyFourBytesIsDeliveredByteForByte) {
  Call client(this->Subscribe());
  const TypeParam message = this->MessageOfSize(24);
  this->publisher.Publish(message);
  EXPECT_THAT(client.stream.Sent(), ElementsAre(message.SerializeAsString()));
}

TYPED_TEST(PublisherOf, MessageOfMoreThanAMebibyteIsDeliveredInBlocksOfAMebibyte) {
  Call client(this->Subscribe());
  const TypeParam message = this->MessageOfSize(3 * blockSize + 7);
  this->publisher.Publish(message);
  EXPECT_TRUE(client.stream.Sent() == std::vector{message.SerializeAsString()});
  const auto slices = this->SlicesOf(client.stream);
  EXPECT_GE(slices.size(), 4U);
  EXPECT_TRUE(std::ranges::all_of(slices, [](const auto& slice) { return slice.size() <= blockSize; }));
}

TYPED_TEST(PublisherOf, MessageMayChangeAsSoonAsItIsPublished) {
  Call client(this->Subscribe());
  TypeParam message = this->MessageOfSize(30);
  const std::string before = message.SerializeAsString();
  this->publisher.Publish(message);
  message.mutable_entries(0)->set_key("x");
  EXPECT_EQ(test::bytesOf(*client.stream.Writes().at(0).buffer), before);
}

}  // namespace
