// A replay as a person meets it: the development host plays what the monitor has recorded.
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "DevhostTest.h"
#include "RecordingFile.h"
#include "support/StreamClient.h"

namespace {

using ::corvalux::client::Record;
using ::corvalux::client::Stream;
using testing::HasSubstr;
using testing::IsEmpty;

class ReplayProgram : public test::DevhostTest {
 protected:
  std::string File(const std::string& name) const { return (dir.Path() / name).string(); }

  static std::vector<std::string> MessagesOf(Stream stream, const std::vector<Record>& records) {
    std::vector<std::string> messages;
    for (const Record& record : records) {
      if (record.stream == stream) messages.push_back(record.message);
    }
    return messages;
  }

  /// How often one must begin at the first of `played` to meet each message later than the one before; some may be
  /// missing, since a client gets the newest ones. Fails when a message was never played.
  static int PassesOf(const std::vector<std::string>& messages, const std::vector<std::string>& played) {
    int passes = 1;
    auto place = played.begin();
    for (const std::string& message : messages) {
      auto found = std::find(place, played.end(), message);
      if (found == played.end()) {
        ++passes;
        found = std::find(played.begin(), place, message);
        EXPECT_NE(found, place) << "a message that was not played";
      }
      place = found + 1;
    }
    return passes;
  }

  /// "17 fast, 3 slow and 2 change lists": what playing these gives.
  static std::string Counts(const std::vector<Record>& records) {
    const auto count = [&](Stream stream) { return std::to_string(MessagesOf(stream, records).size()); };
    return count(Stream::fast) + " fast, " + count(Stream::slow) + " slow and " + count(Stream::changes) +
           " change lists";
  }

  /// Expects one sentence on stderr and the exit code, before the module was loaded.
  void ExpectRefusal(const std::string& file, const std::string& part) {
    test::Process& devhost = RunPlain({"--replay", file, "--module", "/nowhere/module.so"});
    EXPECT_EQ(devhost.Wait(), 5);
    EXPECT_THAT(devhost.Errors(), HasSubstr(part));
    EXPECT_THAT(devhost.Errors(), testing::MatchesRegex("corvalux-devhost: [^\n]+\n"));
    EXPECT_THAT(devhost.Output(), IsEmpty());
  }

  const std::vector<Record> example = test::readRecording(CORVALUX_EXAMPLE);
};

TEST_F(ReplayProgram, ComesToAnOrderlyEndAfterTheLastMessage) {
  test::Process& devhost = Run({"--replay", CORVALUX_EXAMPLE, "--pace", "10"});
  EXPECT_EQ(devhost.Wait(), 0);
  EXPECT_THAT(devhost.Output(), HasSubstr("replays " CORVALUX_EXAMPLE " at 10 times its pace\n"));
  EXPECT_THAT(devhost.Output(), HasSubstr(Counts(example) + "; "));
  EXPECT_THAT(devhost.Errors(), HasSubstr("stopCycle(grpc)"));
}

TEST_F(ReplayProgram, RecordedAgainGivesTheSameMessages) {
  ASSERT_TRUE(Run({"--replay", CORVALUX_EXAMPLE, "--pace", "4", "--loop"}).WaitForOutput("serves"));
  const std::string copy = File("copy.recording");
  test::Process monitor({CORVALUX_MONITOR_FILE, "--json", "--count", "200", "--record", copy, address});
  ASSERT_EQ(monitor.Wait(), 0) << monitor.Errors();
  const auto records = test::readRecording(copy);
  // What is out of order would need more passes than there was time for.
  const auto passes = 4 * records.back().time / (example.back().time - example.front().time) + 2;
  for (const Stream stream : {Stream::fast, Stream::slow, Stream::changes}) {
    const auto messages = MessagesOf(stream, records);
    EXPECT_THAT(messages, testing::Not(IsEmpty()));
    EXPECT_LE(PassesOf(messages, MessagesOf(stream, example)), passes);
  }
}

TEST_F(ReplayProgram, InALoopGoesOnUntilToldToStop) {
  test::Process& devhost = Run({"--replay", CORVALUX_EXAMPLE, "--pace", "20", "--loop"});
  ASSERT_TRUE(devhost.WaitForOutput("in a loop"));
  test::StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(client.WaitForMessages(2 * MessagesOf(Stream::fast, example).size()));
  devhost.Signal(SIGINT);
  EXPECT_EQ(devhost.Wait(), 0);
}

TEST_F(ReplayProgram, EndsAfterItsSecondsAsWell) {
  EXPECT_EQ(Run({"--replay", CORVALUX_EXAMPLE, "--loop", "--seconds", "0.1"}).Wait(), 0);
}

TEST_F(ReplayProgram, PlaysUpToTheDamageAndSaysWhereItIs) {
  const std::string cut = File("cut.recording");
  test::copyBeginning(CORVALUX_EXAMPLE, cut, std::filesystem::file_size(CORVALUX_EXAMPLE) / 2);
  const auto before = test::readRecording(cut);
  ASSERT_GT(before.size(), 10U);
  for (const std::string more : {"--stats", "--loop"}) {
    test::Process& devhost = Run({"--replay", cut, "--pace", "20", "--log-level", "4", more});
    EXPECT_EQ(devhost.Wait(), 5);
    EXPECT_THAT(devhost.Errors(), testing::MatchesRegex("corvalux-devhost: the recording '[^\n]*' is cut off at byte "
                                                        "[0-9]+, after " +
                                                        std::to_string(before.size()) + " records\n"));
    EXPECT_THAT(devhost.Output(), HasSubstr(Counts(before) + "; "));
  }
}

TEST_F(ReplayProgram, RefusesOtherFilesBeforeTheModuleIsLoaded) {
  ExpectRefusal("/nowhere/a", "the recording '/nowhere/a' cannot be opened: No such file or directory");
  ExpectRefusal(CORVALUX_DEVHOST_FILE, "is no recording");
  test::writeRecording(File("empty"), {});
  ExpectRefusal(File("empty"), "holds no messages");
}

}  // namespace
