// Events of one stream in every order that the library can produce, checked step by step against a model of what a
// stream may do: one write outstanding, the queue rule, a call that is finished once, messages that are released.
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "corvalux/grpc/streams.pb.h"
#include "fuzz/ByteReader.h"
#include "fuzz/Check.h"
#include "sim/Log.h"
#include "support/ScriptedStream.h"
#include "support/TestOwner.h"

namespace {

using corvalux::grpc::Meter;
using corvalux::grpc::PublisherGeneric;
using corvalux::grpc::WriterReactorGeneric;
using Message = std::weak_ptr<::grpc::ByteBuffer>;

int warnings = 0;
int alreadyRemoved = 0;

void countLine(const sim::LogLine& line) {
  if (line.level == 3) ++warnings;
  if (line.text.starts_with("!! Finish called")) ++alreadyRemoved;
}

class Machine {
 public:
  explicit Machine(bool keepLatestOnly) : keepLatestOnly(keepLatestOnly) {
    publisher.Add(reactor);
    warnings = alreadyRemoved = 0;
  }

  /// Every call ends so: closed, its write completed, done.
  ~Machine() {
    if (!bound) Bind();
    Close();
    if (inFlight) Complete(false);
    Done();
  }

  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  void Step(uint8_t event) {
    switch (event % 8) {
      case 0:
      case 1: Write(event); break;
      case 2:
        if (inFlight && bound) Complete(true);
        break;
      case 3:
        if (inFlight && bound) Complete(false);
        break;
      case 4:
        if (bound && !cancelled) Cancel();
        break;
      case 5: Close(); break;
      case 6:
        if (bound) Read();
        break;
      default:
        if (!bound) Bind();
        break;
    }
    Check();
  }

  /// Hundreds of messages at once: reaches the limit of the queue.
  void Flood() {
    for (int i = 0; i < 1005; ++i) Write(static_cast<uint8_t>(i));
    Check();
  }

 private:
  void Bind() {
    bound = true;
    stream.Bind();
  }

  void Write(uint8_t content) {
    const ::grpc::Slice slice(std::string(1 + content % 7, static_cast<char>(content)));
    auto message = std::make_shared<::grpc::ByteBuffer>(&slice, 1);
    const Message weak = message;
    reactor->Write(std::move(message));
    if (finished) return;
    if (!inFlight) return Start(weak);
    if (keepLatestOnly) pending.clear();
    if (pending.size() >= 1001) {
      ++expectedWarnings;
    } else {
      pending.push_back(weak);
    }
  }

  void Start(const Message& message) {
    inFlight = message.lock().get();
    current = message;
    expectedWrites.push_back(inFlight);
  }

  void Complete(bool ok) {
    stream.CompleteWrite(ok);
    inFlight = nullptr;
    if (!ok) return End();
    if (finished || pending.empty()) return;
    const Message next = pending.front();
    pending.pop_front();
    Start(next);
  }

  void Cancel() {
    cancelled = true;
    stream.Cancel();
    End();
  }

  void Close() {
    reactor->FinishAndRemove();
    End();
  }

  void Read() {
    stream.CompleteRead(true);
    finished = true;
    subscribed = false;
    expectedFinishes.push_back(::grpc::StatusCode::INTERNAL);
  }

  void End() {
    finished = true;
    if (subscribed) {
      expectedFinishes.push_back(::grpc::StatusCode::CANCELLED);
    } else {
      ++expectedAlreadyRemoved;
    }
    subscribed = false;
  }

  void Check() const {
    FUZZ_CHECK(publisher.HasSubscribers() == subscribed);
    FUZZ_CHECK(warnings == expectedWarnings);
    FUZZ_CHECK(alreadyRemoved == expectedAlreadyRemoved);
    FUZZ_CHECK(!inFlight || !current.expired());
    for (const Message& message : pending) FUZZ_CHECK(!message.expired());
    if (!bound) return;
    FUZZ_CHECK(!testing::UnitTest::GetInstance()->Failed());  // what the stream itself refuses
    const auto writes = stream.Writes();
    FUZZ_CHECK(writes.size() == expectedWrites.size());
    for (std::size_t i = 0; i < expectedWrites.size(); ++i) FUZZ_CHECK(writes[i].buffer == expectedWrites[i]);
    CheckFinishes();
  }

  /// Of several ends before the stream is bound, the library keeps only the last; so only that one can be compared.
  void CheckFinishes() const {
    const auto finishes = stream.Finishes();
    FUZZ_CHECK(finishes.empty() == expectedFinishes.empty());
    if (!expectedFinishes.empty()) FUZZ_CHECK(finishes.back().error_code() == expectedFinishes.back());
  }

  void Done() {
    Check();
    stream.Done();
    FUZZ_CHECK(current.expired());
    for (const Message& message : pending) FUZZ_CHECK(message.expired());
    FUZZ_CHECK(owner.use_count() == 1);
  }

  const bool keepLatestOnly;
  PublisherGeneric<Meter> publisher;
  std::shared_ptr<test::TestOwner<Meter>> owner = std::make_shared<test::TestOwner<Meter>>();
  WriterReactorGeneric<Meter>* const reactor = new WriterReactorGeneric<Meter>(&publisher, owner, keepLatestOnly);
  test::ScriptedStream stream{reactor, false};

  // The model: what the reactor should have done.
  bool bound = false;
  bool subscribed = true;
  bool finished = false;
  bool cancelled = false;
  const ::grpc::ByteBuffer* inFlight = nullptr;
  Message current;
  std::deque<Message> pending;
  std::vector<const ::grpc::ByteBuffer*> expectedWrites;
  std::vector<::grpc::StatusCode> expectedFinishes;
  int expectedWarnings = 0;
  int expectedAlreadyRemoved = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  sim::setLogSink(countLine);
  fuzz::ByteReader input(data, size);
  while (!input.Empty()) {
    const auto head = input.Take<uint8_t>();
    Machine machine(head % 2 == 0);
    if (head % 16 == 1) machine.Flood();
    for (int steps = head / 4; steps > 0 && !input.Empty(); --steps) machine.Step(input.Take<uint8_t>());
  }
  return 0;
}
