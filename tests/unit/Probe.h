#pragma once

#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/slice.h>
#include <grpcpp/support/status.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "module/grpc/PublisherGeneric.h"

namespace test {

/// A message that counts how often it was serialised, and how many of its serialised bodies still exist.
struct Probe {
  struct Counts {
    std::atomic<int> serialised = 0;
    std::atomic<int> bodies = 0;
  };

  std::string body = "probe";
  std::string error;                  ///< when set, the message cannot be serialised, for this reason
  std::function<void()> onSerialise;  ///< runs within its serialisation
  std::shared_ptr<Counts> counts = std::make_shared<Counts>();

  int Serialised() const { return counts->serialised; }
  int Bodies() const { return counts->bodies; }
};

/// The serialised body of a probe; freed by the last buffer that refers to it.
struct ProbeBody {
  explicit ProbeBody(const Probe& probe) : bytes(probe.body), counts(probe.counts) { ++counts->bodies; }
  ~ProbeBody() { --counts->bodies; }
  ProbeBody(const ProbeBody&) = delete;
  ProbeBody& operator=(const ProbeBody&) = delete;

  std::string bytes;
  std::shared_ptr<Probe::Counts> counts;
};

}  // namespace test

template <>
class grpc::SerializationTraits<test::Probe, void> {
 public:
  static Status Serialize(const test::Probe& probe, ByteBuffer* buffer, bool* ownBuffer) {
    ++probe.counts->serialised;
    if (probe.onSerialise) probe.onSerialise();
    if (!probe.error.empty()) return Status(StatusCode::INTERNAL, probe.error);
    auto* body = new test::ProbeBody(probe);
    const auto free = [](void* user) { delete static_cast<test::ProbeBody*>(user); };
    const Slice slice(body->bytes.data(), body->bytes.size(), free, body);
    ByteBuffer made(&slice, 1);
    buffer->Swap(&made);
    *ownBuffer = true;
    return Status::OK;
  }
};
