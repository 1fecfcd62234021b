// Sequences of host lists, as an engine would send them, through the callbacks. After each list the bytes that a client
// gets are compared with a model: of one message that is refilled for meters, and of a new message for changes.
#include <string>
#include <vector>

#include "fuzz/ByteReader.h"
#include "fuzz/Check.h"
#include "fuzz/Subscription.h"
#include "fuzz/WireModel.h"
#include "module/grpc/grpc.h"
#include "sim/Engine.h"
#include "sim/Misuse.h"

namespace {

using corvalux::grpc::GrpcModuleState;

template <typename Element>
std::vector<Element> takeArray(fuzz::ByteReader& input) {
  std::vector<Element> values(input.Take<uint8_t>() % 40);
  for (Element& value : values) value = input.Take<Element>();
  return values;
}

sim::Value takeValue(fuzz::ByteReader& input) {
  switch (const auto type = input.Take<int8_t>(); type % 10) {
    case 0: return input.Take<uint32_t>();
    case 1: return input.Take<int32_t>();
    case 2: return input.Take<float>();
    case 3: return input.TakeText(input.Take<uint8_t>() % 48);
    case 4: return takeArray<uint32_t>(input);
    case 5: return takeArray<int32_t>(input);
    case 6: return takeArray<float>(input);
    case 7: return input.Take<double>();
    default: return sim::UnknownKind{type < 0 ? type : 8 + type, input.Take<uint64_t>()};
  }
}

sim::KeyValues takeList(fuzz::ByteReader& input) {
  sim::KeyValues list(input.Take<uint8_t>() % 12);
  for (sim::NamedValue& named : list) {
    named.key = input.TakeText(input.Take<uint8_t>() % 32);
    named.value = takeValue(input);
  }
  return list;
}

/// What a message holds after `list` was written over it: a value of unknown kind leaves what was there.
void update(std::vector<fuzz::ModelEntry>& model, const sim::KeyValues& list) {
  model.resize(list.size());
  for (std::size_t i = 0; i < list.size(); ++i) {
    model[i].key = list[i].key;
    if (!std::holds_alternative<sim::UnknownKind>(list[i].value)) model[i].value = list[i].value;
  }
}

void run(fuzz::ByteReader& input, sim::Engine& engine, GrpcModuleState& state) {
  fuzz::Subscription meters(*state.fastPublisher);
  fuzz::Subscription changes(*state.changePublisher);
  std::vector<fuzz::ModelEntry> model;
  while (!input.Empty()) {
    const sim::KeyValues list = takeList(input);
    engine.Emit(sim::Event::meterFast, list);
    update(model, list);
    FUZZ_CHECK(meters.TakeMessage() == fuzz::encode(model));

    engine.Emit(sim::Event::changes, list);
    std::vector<fuzz::ModelEntry> fresh;
    update(fresh, list);
    FUZZ_CHECK(changes.TakeMessage() == fuzz::encode(fresh));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  fuzz::ByteReader input(data, size);
  GrpcModuleState state;
  sim::Engine engine;
  const sim::HostCall host;
  const auto fast = engine.Add(sim::Event::meterFast, corvalux::grpc::meterFastCallback, &state);
  const auto changes = engine.Add(sim::Event::changes, corvalux::grpc::notifyChangesCallback, &state);
  run(input, engine, state);
  engine.Remove(fast, true);
  engine.Remove(changes, false);
  FUZZ_CHECK(sim::takeMisuse().empty());
  return 0;
}
