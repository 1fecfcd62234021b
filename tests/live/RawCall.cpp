#include "live/RawCall.h"

#include <utility>

namespace test {

using Clock = std::chrono::system_clock;

RawCall::RawCall(std::shared_ptr<::grpc::Channel> channel, const std::string& method, bool waitForReady)
    : channel(std::move(channel)), stub(this->channel) {
  context.set_wait_for_ready(waitForReady);
  call = stub.PrepareCall(&context, method, &queue);
  call->StartCall(Begin(start));
  Complete(start, patience);
}

RawCall::~RawCall() {
  Cancel();
  if (!finish.ok) Finish();
  queue.Shutdown();
  void* tag = nullptr;
  for (bool ok = false; queue.Next(&tag, &ok);) {
  }
}

std::optional<std::string> RawCall::Read(std::chrono::milliseconds limit) {
  if (!read.pending) call->Read(&received, Begin(read));
  if (!Complete(read, limit)) return std::nullopt;
  return bytesOf(received);
}

bool RawCall::Write(const std::string& bytes, std::chrono::milliseconds limit) {
  if (!write.pending) {
    const ::grpc::Slice slice(bytes);
    call->Write(::grpc::ByteBuffer(&slice, 1), Begin(write));
  }
  return Complete(write, limit);
}

bool RawCall::HalfClose() {
  call->WritesDone(Begin(halfClose));
  return Complete(halfClose, patience);
}

::grpc::Status RawCall::Finish() {
  call->Finish(&status, Begin(finish));
  Complete(finish, Clock::time_point::max());
  return status;
}

bool RawCall::Complete(Step& step, std::chrono::milliseconds limit) { return Complete(step, Clock::now() + limit); }

bool RawCall::Complete(Step& step, Clock::time_point deadline) {
  while (step.pending) {
    void* tag = nullptr;
    bool ok = false;
    if (queue.AsyncNext(&tag, &ok, deadline) != ::grpc::CompletionQueue::GOT_EVENT) return false;
    *static_cast<Step*>(tag) = {.pending = false, .ok = ok};
  }
  return step.ok;
}

void* RawCall::Begin(Step& step) {
  step = {.pending = true, .ok = false};
  return &step;
}

}  // namespace test
