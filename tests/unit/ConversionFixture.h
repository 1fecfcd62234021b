#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "module/grpc/grpc.h"
#include "sim/HostList.h"
#include "sim/KeyValues.h"
#include "sim/Misuse.h"

namespace test {

/// Walks a host list into `target`, as an engine callback does; returns how many entries were visited.
template <typename T>
int32_t fill(const sim::HostList& list, T& target) {
  const sim::EngineCall call;
  corvalux::grpc::EntryCursor<T> cursor{&target};
  const KeyValueVisitor visitor = [](const KeyValueEntry* entry, void* user) {
    return corvalux::grpc::fillKeyValue(entry, static_cast<corvalux::grpc::EntryCursor<T>*>(user));
  };
  corvalux_keyValueListForEach(list.Handle(), visitor, &cursor);
  return cursor.index;
}

/// A meter message that is refilled; each list is destroyed after it was read.
class ConversionFixture : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(sim::takeMisuse(), std::vector<std::string>{}); }

  int32_t Fill(const sim::KeyValues& values) {
    const sim::HostList list(values);
    return fill(list, meter);
  }

  const corvalux::grpc::KeyValue& Entry(int index) const { return meter.entries(index); }
  const corvalux::grpc::AnyValue& Value(int index = 0) const { return meter.entries(index).value(); }

  corvalux::grpc::Meter meter;
};

}  // namespace test
