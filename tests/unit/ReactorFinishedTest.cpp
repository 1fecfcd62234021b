// However a stream ends, it takes no message any more by the time it leaves its publisher and finishes its call.
#include <future>
#include <ostream>
#include <string>

#include "support/Eventually.h"
#include "unit/ReactorFixture.h"

namespace {

using testing::ElementsAre;

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
  test::Call<Meter> other(owner->CreateStream(&publisher));
  std::future<void> end;
  bool dropped = false;
  other.stream.SetOnWrite([&] {  // with the publisher's mutex held: nobody can leave
    end = std::async(std::launch::async, [this] { Run(); });
    dropped = test::eventually([this] { return Write("late").expired(); });
  });
  publisher.Publish(Meter());
  EXPECT_TRUE(dropped);
  end.get();
}

TEST_P(EveryEnd, DropsMessagesBeforeItFinishesTheCall) {
  bool dropped = false;
  stream.SetOnFinish([&] { dropped = Write("late").expired(); });
  Run();
  EXPECT_TRUE(dropped);
  EXPECT_THAT(stream.Sent(), ElementsAre("in flight"));
}

}  // namespace
