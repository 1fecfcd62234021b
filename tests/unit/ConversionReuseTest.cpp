// One message, refilled from many host lists: what is kept, what is replaced, and what that costs.
#include <cstdint>
#include <string>
#include <vector>

#include "module/grpc/PublisherGeneric.h"
#include "support/HeapUse.h"
#include "unit/ConversionFixture.h"
#include "unit/Hex.h"

namespace {

using corvalux::grpc::AnyValue;
using corvalux::grpc::Meter;
using testing::ElementsAre;

const std::string longKey = "a key that does not fit into a short string";
const std::string longText = "a text that does not fit into a short string";

class ConversionReuse : public test::ConversionFixture {
 protected:
  /// How often refilling the message with this list allocates.
  std::size_t AllocationsOf(const sim::KeyValues& values) {
    const sim::HostList list(values);
    const std::size_t before = test::heapUse().allocated;
    test::fill(list, meter);
    return test::heapUse().allocated - before;
  }

  /// A list with all kinds. `step` changes the values, but not the shape.
  static sim::KeyValues AllKinds(uint32_t step) {
    const auto number = static_cast<int32_t>(step);
    return {{longKey + " 1", step},
            {longKey + " 2", -number},
            {longKey + " 3", static_cast<float>(step)},
            {longKey + " 4", static_cast<double>(step)},
            {longKey + " 5", longText + std::to_string(step)},
            {longKey + " 6", std::vector<uint32_t>(100, step)},
            {longKey + " 7", std::vector<int32_t>(100, number)},
            {longKey + " 8", std::vector<float>(100, 0.5F)},
            {longKey + " 9", sim::UnknownKind{8}}};
  }
};

TEST_F(ConversionReuse, SameShapeAllocatesNothing) {
  EXPECT_GT(AllocationsOf(AllKinds(1)), 9U);
  EXPECT_EQ(AllocationsOf(AllKinds(2)), 0U);
  EXPECT_EQ(AllocationsOf(AllKinds(3)), 0U);
  EXPECT_EQ(Value(0).uint_value(), 3U);
  EXPECT_EQ(Value(4).string_value().data(), longText + "3");
}

TEST_F(ConversionReuse, ShorterArraysAndTextsAllocateNothing) {
  Fill({{longKey, longText}, {"array", std::vector<float>(100)}});
  EXPECT_EQ(AllocationsOf({{"k", std::string("t")}, {"array", std::vector<float>(3)}}), 0U);
  EXPECT_EQ(AllocationsOf({{longKey, longText}, {"array", std::vector<float>(100)}}), 0U);
}

TEST_F(ConversionReuse, EntriesValuesAndSubMessagesStayWhereTheyAre) {
  Fill({{"t", longText}, {"a", std::vector<int32_t>{1, 2}}});
  const auto* entry = &Entry(1);
  const auto* text = &Value(0).string_value();
  const auto* array = &Value(1).int_array();
  const int32_t* elements = array->values().data();
  Fill({{"t", std::string("x")}, {"a", std::vector<int32_t>{3, 4}}});
  EXPECT_EQ(&Entry(1), entry);
  EXPECT_EQ(&Value(0).string_value(), text);
  EXPECT_EQ(&Value(1).int_array(), array);
  EXPECT_EQ(array->values().data(), elements);
  EXPECT_THAT(array->values(), ElementsAre(3, 4));
}

TEST_F(ConversionReuse, ArraysKeepTheirCapacityWhenTheyShrink) {
  Fill({{"a", std::vector<uint32_t>(100, 1)}});
  const int capacity = Value().uint_array().values().Capacity();
  EXPECT_GE(capacity, 100);
  Fill({{"a", std::vector<uint32_t>{}}});
  EXPECT_EQ(Value().value_case(), AnyValue::kUintArray);
  EXPECT_EQ(Value().uint_array().values_size(), 0);
  EXPECT_EQ(Value().uint_array().values().Capacity(), capacity);
}

TEST_F(ConversionReuse, ArraysGrowAndShrinkWithTheList) {
  for (const uint32_t count : {1U, 1000U, 2U, 1001U, 0U, 5U}) {
    Fill({{"a", std::vector<uint32_t>(count, count)}});
    EXPECT_THAT(Value().uint_array().values(), testing::ElementsAreArray(std::vector<uint32_t>(count, count)));
  }
}

TEST_F(ConversionReuse, UnknownCodeKeepsTheOldValueUnderTheNewKey) {
  Fill({{"old", std::string("level")}, {"older", 7U}});
  Fill({{"new", sim::UnknownKind{8}}, {"newer", sim::UnknownKind{-1}}});
  EXPECT_EQ(Entry(0).key(), "new");
  EXPECT_EQ(Value(0).string_value().data(), "level");
  EXPECT_EQ(Entry(1).key(), "newer");
  EXPECT_EQ(Value(1).uint_value(), 7U);
}

TEST_F(ConversionReuse, TextThatBecomesANumberIsFreed) {
  Fill({{"k", 1U}});
  const std::size_t before = test::heapUse().Live();
  Fill({{"k", longText}});
  EXPECT_GT(test::heapUse().Live(), before);
  Fill({{"k", 2U}});
  EXPECT_EQ(test::heapUse().Live(), before);
  EXPECT_EQ(test::wire(Value()), "20 02");
}

TEST_F(ConversionReuse, ArrayThatBecomesANumberIsFreed) {
  Fill({{"k", 1.0}});
  const std::size_t before = test::heapUse().Live();
  Fill({{"k", std::vector<float>(100)}});
  EXPECT_GT(test::heapUse().Live(), before);
  Fill({{"k", 2.0}});
  EXPECT_EQ(test::heapUse().Live(), before);
}

TEST_F(ConversionReuse, EveryKindCanFollowEveryOther) {
  const sim::KeyValues kinds = AllKinds(5);
  for (std::size_t from = 0; from < 8; ++from) {
    for (std::size_t to = 0; to < 8; ++to) {
      meter.Clear();
      Fill({kinds[to]});
      const std::string fresh = test::wire(Value());
      Fill({kinds[from]});
      Fill({kinds[to]});
      EXPECT_EQ(test::wire(Value()), fresh) << from << " to " << to;
    }
  }
}

TEST_F(ConversionReuse, MoreEntriesAreAppendedBehindTheReusedOnes) {
  Fill({{"a", 1U}});
  const auto* first = &Entry(0);
  EXPECT_EQ(Fill({{"b", 2U}, {"c", 3U}}), 2);
  ASSERT_EQ(meter.entries_size(), 2);
  EXPECT_EQ(&Entry(0), first);
  EXPECT_EQ(Entry(0).key(), "b");
  EXPECT_EQ(Entry(1).key(), "c");
}

TEST_F(ConversionReuse, WalkOfAShorterListLeavesTheRestForTheCallerToTrim) {
  Fill({{"a", 1U}, {"b", 2U}});
  EXPECT_EQ(Fill({{"c", 3U}}), 1);
  ASSERT_EQ(meter.entries_size(), 2);
  EXPECT_EQ(Entry(0).key(), "c");
  EXPECT_EQ(Entry(1).key(), "b");
}

TEST_F(ConversionReuse, PublishWithoutSubscribersAllocatesNothing) {
  Fill(AllKinds(1));
  corvalux::grpc::PublisherGeneric<Meter> publisher;
  const std::size_t before = test::heapUse().allocated;
  publisher.Publish(meter);
  EXPECT_EQ(test::heapUse().allocated, before);
}

}  // namespace
