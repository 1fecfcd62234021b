#include "micro/Cases.h"

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "micro/BestFill.h"
#include "micro/PlainHost.h"
#include "micro/Streams.h"
#include "module/grpc/grpc.h"
#include "support/Loads.h"

namespace bench {

namespace {

using corvalux::grpc::EntryCursor;
using corvalux::grpc::GrpcModuleState;

constexpr std::size_t streamCounts[] = {1, 64};

/// A load, and the list that refers to it.
struct Source {
  explicit Source(Load load) : load(std::move(load)), list(this->load.values) {}
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  const Load load;
  const PlainList list;
};

/// As the meter callbacks do it, without the check for subscribers.
void fill(const PlainList& list, Meter& message) {
  EntryCursor<Meter> cursor{&message};
  const KeyValueVisitor visitor = [](const KeyValueEntry* entry, void* user) {
    return corvalux::grpc::fillKeyValue(entry, static_cast<EntryCursor<Meter>*>(user));
  };
  corvalux_keyValueListForEach(list.Handle(), visitor, &cursor);
  if (message.entries_size() > cursor.index) {
    message.mutable_entries()->DeleteSubrange(cursor.index, message.entries_size() - cursor.index);
  }
}

std::shared_ptr<Meter> filled(const Source& source) {
  auto message = std::make_shared<Meter>();
  fill(source.list, *message);
  return message;
}

/// Half as many entries, and every value of another kind.
Load otherShape(const Load& load) {
  Load other{load.name, {}};
  for (std::size_t i = 0; i < load.values.size() / 2; ++i) {
    other.values.push_back({load.values[i].key, static_cast<uint32_t>(i)});
  }
  return other;
}

void addFillCases(std::vector<Case>& cases, const std::shared_ptr<Source>& source) {
  const std::string name = "fill/" + std::string(source->load.name);
  cases.push_back({name + "/fresh", [source] {
                     Meter message;
                     fill(source->list, message);
                   }});
  cases.push_back({name + "/reused", [source, message = filled(*source)] { fill(source->list, *message); }});
  const auto other = std::make_shared<Source>(otherShape(source->load));
  cases.push_back({name + "/changed", [source, other, message = filled(*source), odd = false]() mutable {
                     odd = !odd;
                     fill(odd ? other->list : source->list, *message);
                   }});
  cases.push_back({name + "/best", [source, message = filled(*source)] { bestFill(source->list.Handle(), *message); }});
}

void addSerialiseCase(std::vector<Case>& cases, const Source& source) {
  cases.push_back({"serialise/" + std::string(source.load.name), [message = filled(source)] {
                     ::grpc::ByteBuffer buffer;
                     bool ownBuffer = false;
                     if (!::grpc::SerializationTraits<Meter>::Serialize(*message, &buffer, &ownBuffer).ok()) {
                       throw std::runtime_error("the message cannot be serialised");
                     }
                   }});
}

void expectAll(std::size_t completed, std::size_t expected) {
  if (completed != expected) throw std::logic_error("not every stream has written");
}

void addPublishCase(std::vector<Case>& cases, const Source& source, std::size_t count) {
  const auto publisher = std::make_shared<Publisher>();
  const auto streams = std::make_shared<Streams>(*publisher, count);
  cases.push_back({"publish/" + std::string(source.load.name) + "/" + std::to_string(count),
                   [publisher, streams, count, message = filled(source)] {
                     publisher->Publish(*message);
                     expectAll(streams->CompleteWrites(), count);
                   }});
}

void addEventCase(std::vector<Case>& cases, const std::shared_ptr<Source>& source, std::size_t count) {
  const auto state = std::make_shared<GrpcModuleState>();
  const auto streams = std::make_shared<Streams>(*state->fastPublisher, count);
  cases.push_back(
      {"event/" + std::string(source->load.name) + "/" + std::to_string(count), [source, state, streams, count] {
         corvalux::grpc::meterFastCallback(source->list.Handle(), state.get());
         expectAll(streams->CompleteWrites(), count);
       }});
}

void addIdleCases(std::vector<Case>& cases, const std::shared_ptr<Source>& source) {
  const auto state = std::make_shared<GrpcModuleState>();
  const auto add = [&](const char* name, EngineCallback callback) {
    cases.push_back({name, [source, state, callback] { callback(source->list.Handle(), state.get()); }});
  };
  add("idle/fast", corvalux::grpc::meterFastCallback);
  add("idle/slow", corvalux::grpc::meterSlowCallback);
}

}  // namespace

std::vector<Case> allCases() {
  std::vector<Case> cases;
  for (Load& load : allLoads()) {
    const auto source = std::make_shared<Source>(std::move(load));
    addFillCases(cases, source);
    addSerialiseCase(cases, *source);
    for (const std::size_t count : streamCounts) addPublishCase(cases, *source, count);
    for (const std::size_t count : streamCounts) addEventCase(cases, source, count);
  }
  addIdleCases(cases, std::make_shared<Source>(mediumLoad()));
  return cases;
}

}  // namespace bench
