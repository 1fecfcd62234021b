// However a stream ends, it drops messages before it leaves its publisher, and before it finishes its call.
#include <future>
#include <mutex>
#include <ostream>
#include <string>

#include "support/Eventually.h"
#include "unit/ReactorFixture.h"

namespace {

using testing::ElementsAre;

using Publisher = corvalux::grpc::PublisherGeneric<corvalux::grpc::Meter>;

// An explicit instantiation may name private members.
std::mutex& mutexOf(Publisher& publisher);

template <auto mutex>
struct Access {
  friend std::mutex& mutexOf(Publisher& publisher) { return publisher.*mutex; }
};

template struct Access<&Publisher::mutex>;

struct End {
  std::string name;
  std::function<void(test::ScriptedStream&, corvalux::grpc::WriterReactorGeneric<corvalux::grpc::Meter>&)> run;
};

void PrintTo(const End& end, std::ostream* out) { *out << end.name; }

class EveryEnd : public test::ReactorFixture, public testing::WithParamInterface<End> {
 protected:
  void SetUp() override { Write("in flight"); }

  void Run() { GetParam().run(stream, *reactor); }
};

INSTANTIATE_TEST_SUITE_P(Of, EveryEnd,
                         testing::Values(End{"Cancel", [](auto& stream, auto&) { stream.Cancel(); }},
                                         End{"Read", [](auto& stream, auto&) { stream.CompleteRead(true); }},
                                         End{"FailedWrite", [](auto& stream, auto&) { stream.CompleteWrite(false); }},
                                         End{"Shutdown", [](auto&, auto& reactor) { reactor.FinishAndRemove(); }}));

TEST_P(EveryEnd, DropsMessagesBeforeItLeavesThePublisher) {
  std::unique_lock nobodyLeaves(mutexOf(publisher));
  const auto end = std::async(std::launch::async, [this] { Run(); });
  EXPECT_TRUE(test::eventually([this] { return Write("late").expired(); }));
  nobodyLeaves.unlock();
}

TEST_P(EveryEnd, DropsMessagesBeforeItFinishesTheCall) {
  bool dropped = false;
  stream.SetOnFinish([&] { dropped = Write("late").expired(); });
  Run();
  EXPECT_TRUE(dropped);
  EXPECT_THAT(stream.Sent(), ElementsAre("in flight"));
}

}  // namespace
