#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "client/Recording.h"
#include "support/Deadline.h"
#include "support/FakeDevice.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace {

namespace client = ::corvalux::client;
using client::Stream;
using test::Process;
using testing::HasSubstr;

/// So many seconds on a machine that runs its own programs, as an option's value.
std::string seconds(double count) { return std::to_string(count * CORVALUX_TEST_TIME_SCALE); }

/// The monitor as a program, with its output in a pipe.
class Program : public testing::Test {
 protected:
  std::vector<std::string> Command(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {CORVALUX_MONITOR_FILE, address});
    return arguments;
  }

  static std::vector<nlohmann::json> Lines(const Process& process) {
    std::vector<nlohmann::json> lines;
    std::istringstream text(process.Output());
    for (std::string line; std::getline(text, line);) lines.push_back(nlohmann::json::parse(line));
    return lines;
  }

  const test::TempDir folder;
  const std::string address = folder.UnixAddress();
};

}  // namespace

TEST_F(Program, WritesOneObjectALineAndEndsAfterTheCount) {
  test::FakeDevice device(address);
  for (int i = 0; i < 20; ++i) device.SendLevel(Stream::fast, "a/peak", -1.5F);
  Process process(Command({"--count", "7"}));
  EXPECT_EQ(process.Wait(), 0);
  const auto lines = Lines(process);
  ASSERT_EQ(lines.size(), 7U);
  EXPECT_EQ(lines[0]["stream"], "fast");
  EXPECT_EQ(lines[0]["entries"], nlohmann::json::parse(R"([{"key":"a/peak","kind":"float","value":-1.5}])"));
  EXPECT_THAT(process.Errors(), HasSubstr("connected to " + address));
}

TEST_F(Program, ReadsOnlyTheStreamsThatWereAskedFor) {
  test::FakeDevice device(address);
  for (const Stream stream : client::allStreams) device.SendLevel(stream, "a", 1);
  for (int i = 0; i < 3; ++i) device.SendLevel(Stream::slow, "a", 1);
  Process process(Command({"--stream", "slow", "--count", "4"}));
  EXPECT_EQ(process.Wait(), 0);
  for (const auto& line : Lines(process)) EXPECT_EQ(line["stream"], "slow");
}

TEST_F(Program, SecondsEndItWithSuccess) {
  test::FakeDevice device(address);
  Process process(Command({"--seconds", seconds(0.5)}));
  EXPECT_EQ(process.Wait(), 0);
}

TEST_F(Program, SecondsWithoutAConnectionAreNeverConnected) {
  Process process(Command({"--seconds", seconds(0.3)}));
  EXPECT_EQ(process.Wait(), 1);
  EXPECT_THAT(process.Errors(), HasSubstr("cannot reach " + address));
  EXPECT_THAT(process.Errors(), HasSubstr("trying again in"));
}

TEST_F(Program, WithoutReconnectAndServerIsNeverConnected) {
  Process process(Command({"--no-reconnect"}));
  EXPECT_EQ(process.Wait(), 1);
}

TEST_F(Program, WithoutReconnectTellsThatTheServerEndedIt) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  Process process(Command({"--no-reconnect"}));
  ASSERT_TRUE(process.WaitForOutput("\n"));
  device.End(::grpc::Status::CANCELLED);
  EXPECT_EQ(process.Wait(), 3);
  EXPECT_THAT(process.Errors(), HasSubstr("lost " + address + ": the server ended the stream"));
}

TEST_F(Program, WrongCommandLineIsAnErrorOfItsOwn) {
  Process process(Command({"--count", "none"}));
  EXPECT_EQ(process.Wait(), 2);
}

class ProgramSignals : public Program, public testing::WithParamInterface<int> {};

TEST_P(ProgramSignals, EndItInOrder) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  Process process(Command({}));
  ASSERT_TRUE(process.WaitForOutput("\n"));
  process.Signal(GetParam());
  EXPECT_EQ(process.Wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(All, ProgramSignals, testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT));

TEST_F(Program, AReaderThatLeavesEndsItQuietly) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  // The shell tells the exit code of the first program of the pipe.
  Process process({"/bin/bash", "-c", "\"$@\" | head -n 1; echo \"code ${PIPESTATUS[0]}\"", "bash",
                   CORVALUX_MONITOR_FILE, address});
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_THAT(process.Output(), HasSubstr("code 0"));
}

TEST_F(Program, AFullDiskIsAnErrorOfItsOwn) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  Process process({"/bin/bash", "-c", "exec \"$@\" > /dev/full", "bash", CORVALUX_MONITOR_FILE, address});
  EXPECT_EQ(process.Wait(), 4);
  EXPECT_THAT(process.Errors(), HasSubstr("the output cannot be written: No space left on device"));
}

TEST_F(Program, AFullDiskIsAnErrorOfATableAndACheckToo) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  device.SendLevel(Stream::slow, "a", 1);
  for (const std::string way : {"--table", "--check"}) {
    Process process({"/bin/bash", "-c", "exec \"$@\" > /dev/full", "bash", CORVALUX_MONITOR_FILE, address, way});
    EXPECT_EQ(process.Wait(), 4);
    EXPECT_THAT(process.Errors(), HasSubstr("the output cannot be written: No space left on device"));
  }
}

TEST_F(Program, ATextThatIsNotUtf8IsRepairedAndReported) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "bad\xFF", 1);
  Process process(Command({"--count", "1", "--no-reconnect"}));
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_EQ(Lines(process).at(0)["entries"][0]["key"], "bad\uFFFD");
  EXPECT_THAT(process.Errors(), HasSubstr("repaired a text of the stream 'fast' (1 so far): it is not UTF-8"));
}

TEST_F(Program, ADamagedMessageIsReportedAndLeftOut) {
  test::FakeDevice device(address);
  device.SendBytes(Stream::fast, "\x0A\x7F");
  device.SendLevel(Stream::fast, "good", 1);
  Process process(Command({"--count", "1", "--no-reconnect"}));
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_EQ(Lines(process).at(0)["entries"][0]["key"], "good");
  EXPECT_THAT(process.Errors(),
              HasSubstr("rejected a message of the stream 'fast' (2 bytes, 1 so far): it is damaged"));
}

TEST_F(Program, ASignalEndsItWhileNobodyReadsItsOutput) {
  test::FakeDevice device(address);
  for (int i = 0; i < 500; ++i) device.SendLevel(Stream::fast, std::string(1000, 'k'), 1);
  std::array<int, 2> pipe{};
  ASSERT_EQ(pipe2(pipe.data(), O_CLOEXEC), 0);
  Process process({"/bin/bash", "-c", "exec \"$@\" > /proc/$PPID/fd/" + std::to_string(pipe[1]), "bash",
                   CORVALUX_MONITOR_FILE, address});
  // Full: not even one more page fits.
  for (pollfd end{pipe[1], POLLOUT, 0}; poll(&end, 1, 10) > 0;) end.revents = 0;
  process.Signal(SIGINT);
  EXPECT_EQ(process.Wait(), 0);
  close(pipe[0]);
  close(pipe[1]);
}

TEST_F(Program, CheckSaysOkWhenMetersArrive) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  device.SendLevel(Stream::slow, "a", 1);
  Process process(Command({"--check"}));
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_THAT(process.Output(), testing::MatchesRegex("OK " + address + ": fast after .*, slow after .*\n"));
}

TEST_F(Program, CheckSaysWhichStreamIsSilent) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  Process process(Command({"--check", "--seconds", seconds(0.5)}));
  EXPECT_EQ(process.Wait(), 5);
  EXPECT_THAT(process.Output(), testing::MatchesRegex("FAILED " + address + ": fast after .*, slow silent\n"));
}

TEST_F(Program, CheckSaysThatNothingAnswers) {
  Process process(Command({"--check", "--no-reconnect"}));
  EXPECT_EQ(process.Wait(), 1);
  EXPECT_THAT(process.Output(), testing::MatchesRegex("FAILED cannot reach " + address + ": .*\n"));
}

TEST_F(Program, TableShowsEachEntryOnceAndNoControlCharacters) {
  test::FakeDevice device(address);
  auto entry = test::keyValue("na\x1Bme");
  entry.mutable_value()->mutable_string_value()->set_data("two\nlines");
  device.Send(Stream::slow, {entry, test::keyValue("unknown")});
  Process process(Command({"--table", "--stream", "slow"}));
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_EQ(process.Output(),
            "stream   key      kind         value\n"
            "slow     na me    string       two lines\n"
            "slow     unknown  none         ?\n");
}

TEST_F(Program, RecordsWhatArrivesAsItCame) {
  test::FakeDevice device(address);
  device.SendBytes(Stream::fast, "\x0A\x7F");
  device.SendLevel(Stream::fast, "good\xFF", 2);
  const std::string file = (folder.Path() / "a.recording").string();
  Process process(Command({"--stream", "fast", "--count", "1", "--record", file}));
  EXPECT_EQ(process.Wait(), 0);
  client::RecordingReader reader(file);
  EXPECT_EQ(reader.Header().source, address);
  const auto first = reader.Next();
  const auto second = reader.Next();
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->message, "\x0A\x7F");
  EXPECT_THAT(second->message, HasSubstr("good\xFF"));
  EXPECT_EQ(second->stream, Stream::fast);
  EXPECT_GE(second->time, first->time);
  EXPECT_FALSE(reader.Next());
  EXPECT_EQ(reader.Damage(), "");
}

TEST_F(Program, ARecordingThatCannotBeMadeIsAnErrorOfItsOwn) {
  Process process(Command({"--record", "/nowhere/a"}));
  EXPECT_EQ(process.Wait(), 4);
  EXPECT_THAT(process.Errors(), HasSubstr("the recording '/nowhere/a' cannot be written: No such file or directory"));
}

TEST_F(Program, ARecordingWhoseEndCannotBeWrittenIsAnErrorOfItsOwn) {
  test::FakeDevice device(address);
  for (int i = 0; i < 10; ++i) device.SendLevel(Stream::fast, std::string(300, 'k'), 1);
  const std::string file = (folder.Path() / "a.recording").string();
  // Room for the header, but not for what the end of the program brings into the file.
  Process process({"/bin/bash", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\"", "bash", CORVALUX_MONITOR_FILE, address,
                   "--stream", "fast", "--count", "10", "--record", file});
  EXPECT_EQ(process.Wait(), 4);
  EXPECT_THAT(process.Errors(), HasSubstr("the recording '" + file + "' cannot be written: File too large"));
}
