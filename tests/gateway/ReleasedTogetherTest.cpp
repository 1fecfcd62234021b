#include "gateway/fleet/ReleasedTogether.h"

#include <gtest/gtest.h>

#include <memory>

namespace corvalux::gateway {

namespace {

class Released : public testing::Test {
 protected:
  using Together = ReleasedTogether<std::shared_ptr<int>>;

  void Add(std::size_t size = 1) { together->Add(item, size); }
  long Kept() const { return item.use_count() - 1; }

  const std::shared_ptr<int> item = std::make_shared<int>();
  std::unique_ptr<Together> together = std::make_unique<Together>();
};

}  // namespace

TEST_F(Released, TogetherOnceThereAreSomeOfThem) {
  for (std::size_t number = 1; number < Together::mostItems; ++number) Add();
  EXPECT_EQ(Kept(), Together::mostItems - 1);
  Add();
  EXPECT_EQ(Kept(), 0);
  Add();
  EXPECT_EQ(Kept(), 1);
}

TEST_F(Released, AtOnceWhenTheyAreLarge) {
  Add(Together::mostBytes - 1);
  EXPECT_EQ(Kept(), 1);
  Add();
  EXPECT_EQ(Kept(), 0);
  Add();
  EXPECT_EQ(Kept(), 1);
}

TEST_F(Released, AtTheEnd) {
  Add();
  together.reset();
  EXPECT_EQ(Kept(), 0);
}

}  // namespace corvalux::gateway
