#include "monitor/CommandLine.h"

#include <gmock/gmock.h>

namespace corvalux::monitor {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::variant<Options, ExitCode> parsed(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "corvalux-monitor");
  return parse(static_cast<int>(arguments.size()), arguments.data());
}

Options optionsOf(std::vector<const char*> arguments) { return std::get<Options>(parsed(std::move(arguments))); }

/// What is said on stderr about a command line that is wrong.
std::string complaintAbout(std::vector<const char*> arguments) {
  testing::internal::CaptureStderr();
  const auto result = parsed(std::move(arguments));
  const auto* code = std::get_if<ExitCode>(&result);
  EXPECT_TRUE(code && *code == ExitCode::usage);
  return testing::internal::GetCapturedStderr();
}

}  // namespace

TEST(CommandLine, WithoutArgumentsShowsAllStreamsOfThisMachineForEver) {
  const Options options = optionsOf({});
  EXPECT_EQ(options.address, "localhost:50005");
  EXPECT_THAT(options.streams, ElementsAre(client::Stream::fast, client::Stream::slow, client::Stream::changes));
  EXPECT_FALSE(options.json || options.count || options.seconds);
  EXPECT_TRUE(options.reconnect);
}

TEST(CommandLine, TakesEveryOption) {
  const Options options = optionsOf({"--stream", "changes", "--stream", "fast", "unix:/tmp/s", "--json", "--count", "5",
                                     "--seconds", "0.5", "--no-reconnect"});
  EXPECT_EQ(options.address, "unix:/tmp/s");
  EXPECT_THAT(options.streams, ElementsAre(client::Stream::fast, client::Stream::changes));
  EXPECT_TRUE(options.json);
  EXPECT_EQ(options.count, 5U);
  EXPECT_EQ(options.seconds, 0.5);
  EXPECT_FALSE(options.reconnect);
}

TEST(CommandLine, SaysWhatIsWrong) {
  EXPECT_THAT(complaintAbout({"--stream", "medium"}), HasSubstr("takes fast, slow or changes, not 'medium'"));
  EXPECT_THAT(complaintAbout({"--count", "0"}), HasSubstr("takes a whole number above 0, not '0'"));
  EXPECT_THAT(complaintAbout({"--count", "-1"}), HasSubstr("above 0"));
  EXPECT_THAT(complaintAbout({"--count", "1.5"}), HasSubstr("above 0"));
  EXPECT_THAT(complaintAbout({"--seconds", "nan"}), HasSubstr("takes a number from 0.001"));
  EXPECT_THAT(complaintAbout({"--seconds", "0"}), HasSubstr("takes a number from 0.001"));
  EXPECT_THAT(complaintAbout({"--nonsense"}), HasSubstr("--nonsense"));
  EXPECT_THAT(complaintAbout({"a:1", "b:1"}), HasSubstr("b:1"));
  EXPECT_THAT(complaintAbout({""}), HasSubstr("must not be empty"));
  EXPECT_THAT(complaintAbout({"--stream"}), HasSubstr("--stream"));
}

TEST(CommandLine, HelpTellsTheExitCodesAndEveryOption) {
  testing::internal::CaptureStdout();
  const auto result = parsed({"--help"});
  const std::string help = testing::internal::GetCapturedStdout();
  EXPECT_EQ(std::get<ExitCode>(result), ExitCode::endedByYou);
  for (const char* part : {"ADDRESS", "--stream", "--json", "--count", "--seconds", "--no-reconnect", "--version",
                           "0  ended by you", "1  never connected", "2  the command line is wrong",
                           "3  ended by the server", "4  the output cannot be written"}) {
    EXPECT_THAT(help, HasSubstr(part));
  }
}

}  // namespace corvalux::monitor
