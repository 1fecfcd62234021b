// The development host as a person or a script meets it: as a program.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <initializer_list>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "DevhostTest.h"
#include "support/FreePort.h"
#include "support/ModuleTest.h"
#include "support/StreamClient.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Devhost : public test::DevhostTest {
 protected:
  /// Expects that it ends by itself with `code` and one sentence on stderr, which contains `part`.
  void ExpectComplaint(std::vector<std::string> arguments, int code, const std::string& part) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    test::Process& devhost = RunPlain(std::move(arguments));
    EXPECT_EQ(devhost.Wait(), code);
    EXPECT_THAT(devhost.Errors(), HasSubstr(part));
    EXPECT_THAT(devhost.Errors(), testing::MatchesRegex("corvalux-devhost: [^\n]+\n"));
    EXPECT_THAT(devhost.Output(), IsEmpty());
  }

  void ExpectOrderlyEnd(test::Process& devhost) {
    EXPECT_EQ(devhost.Wait(), 0);
    EXPECT_THAT(devhost.Errors(), HasSubstr("stopCycle(grpc)"));
    EXPECT_THAT(devhost.Output(), ContainsRegex("stopped after [0-9.]+ s: [0-9]+ fast, [0-9]+ slow and [0-9]+ change "
                                                "lists; longest callback [0-9.]+ ms; no misuse"));
  }
};

TEST_F(Devhost, SaysWhereItServesAndHowToStopIt) {
  test::Process& devhost = Run();
  EXPECT_TRUE(devhost.WaitForOutput("\n"));
  EXPECT_EQ(devhost.Output(), "grpc " CORVALUX_VERSION " serves " + address + "; stop it with Ctrl-C\n");
}

TEST_F(Devhost, EndsByItselfAfterItsSeconds) {
  const auto begin = std::chrono::steady_clock::now();
  test::Process& devhost = Run({"--seconds", "0.5"});
  ExpectOrderlyEnd(devhost);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
}

TEST_F(Devhost, EndsInOrderOnCtrlCAndOtherSignalsToStop) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    test::Process& devhost = Run();
    ASSERT_TRUE(devhost.WaitForOutput("serves"));
    devhost.Signal(signal);
    ExpectOrderlyEnd(devhost);
  }
}

TEST_F(Devhost, KeepsToItsCadences) {
  test::Process& devhost = Run({"--seconds", "1", "--fast-hz", "0", "--slow-hz", "20", "--changes-hz", "0"});
  ExpectOrderlyEnd(devhost);
  const std::string output = devhost.Output();
  std::smatch match;
  const std::regex summary("stopped after ([0-9.]+) s: 0 fast, ([0-9]+) slow and 0 change lists");
  ASSERT_TRUE(std::regex_search(output, match, summary)) << output;
  // A busy machine makes beats drop out and the run longer, but never beats come too often.
  EXPECT_LE(std::stod(match[2]), std::stod(match[1]) * 20 + 2);
  EXPECT_GE(std::stod(match[2]), 4);
}

TEST_F(Devhost, PlaysTheFirstListOfACadenceWhoseSecondNeverComes) {
  test::Process& devhost = Run({"--seconds", "0.5", "--fast-hz", "1e-10", "--slow-hz", "1e-310", "--changes-hz", "0"});
  ExpectOrderlyEnd(devhost);
  EXPECT_THAT(devhost.Output(), HasSubstr(" s: 1 fast, 1 slow and 0 change lists"));
}

TEST_F(Devhost, PrintsFiguresEverySecondOnRequest) {
  test::Process& devhost = Run({"--stats"});
  const std::string line =
      "[0-9]+ fast, [0-9]+ slow and [0-9]+ change lists; callbacks p50 [0-9.]+ ms, p99 [0-9.]+ ms, "
      "max [0-9.]+ ms\n";
  ASSERT_TRUE(devhost.WaitForOutput(" max "));
  devhost.Signal(SIGINT);
  ExpectOrderlyEnd(devhost);
  EXPECT_THAT(devhost.Output(), testing::MatchesRegex("grpc [^\n]*\n(" + line + ")+stopped after [^\n]*\n"));
}

TEST_F(Devhost, ServesAllThreeStreamsToAClient) {
  test::Process& devhost = Run({"--fast-hz", "50", "--slow-hz", "20", "--changes-hz", "20"});
  ASSERT_TRUE(devhost.WaitForOutput("serves"));
  for (const auto& method : {test::fastMethod, test::slowMethod, test::changesMethod}) {
    test::StreamClient client(address, method);
    ASSERT_TRUE(client.WaitForMessages(5));
    uint32_t last = 0;
    for (const std::string& bytes : client.Messages()) {
      ::corvalux::grpc::Meter message;  // a Notification has the same bytes
      ASSERT_TRUE(message.ParseFromString(bytes));
      EXPECT_EQ(message.entries(0).key(), "counter");
      EXPECT_GT(message.entries(0).value().uint_value(), last);
      last = message.entries(0).value().uint_value();
    }
  }
}

TEST_F(Devhost, HasAsManyInputsAsAskedFor) {
  ASSERT_TRUE(Run({"--channels", "3"}).WaitForOutput("serves"));
  test::StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(client.WaitForMessages(1));
  std::set<std::string> peaks;
  const auto meter = client.LastMeter();
  for (const auto& entry : meter.entries()) {
    if (entry.key().starts_with("input/") && entry.key().ends_with("/peak")) peaks.insert(entry.key());
  }
  EXPECT_THAT(peaks, testing::ElementsAre("input/1/peak", "input/2/peak", "input/3/peak"));
}

TEST_F(Devhost, HandsEveryKeyOfTheConfigurationToTheModule) {
  test::Process& devhost = Run({"--seconds", "0.01", "--set", "grpc_num_cqs=1", "--set", "grpc_memory_kb=4096", "--set",
                                "grpc_min_pollers=1", "--set", "grpc_max_pollers=3", "--set",
                                "grpc_cq_timeout_ms=20000", "--set", "quota_new_max_threads=64"});
  EXPECT_EQ(devhost.Wait(), 0);
  const auto lines = {"serverUrl: " + address,
                      std::string("grpc_num_cqs: 1"),
                      std::string("grpc_memory_kb: 4096"),
                      std::string("grpc_min_pollers: 1"),
                      std::string("grpc_max_pollers: 3"),
                      std::string("grpc_cq_timeout_ms: 20000"),
                      std::string("quota_new_max_threads: 64")};
  for (const std::string& line : lines) EXPECT_THAT(devhost.Errors(), HasSubstr(": " + line + "\n"));
}

TEST_F(Devhost, TakesTheLastSettingOfAKey) {
  test::Process& devhost = Run({"--seconds", "0.01", "--set", "grpc_memory_kb=200", "--set", "grpc_memory_kb=300"});
  EXPECT_EQ(devhost.Wait(), 0);
  EXPECT_THAT(devhost.Errors(), HasSubstr("grpc_memory_kb: 300\n"));
  EXPECT_THAT(devhost.Errors(), Not(HasSubstr("grpc_memory_kb: 200")));
}

TEST_F(Devhost, PrintsLogLinesWithTimeLevelFileAndLine) {
  test::Process& devhost = Run({"--module", CORVALUX_REFUSING_MODULE});
  EXPECT_EQ(devhost.Wait(), 3);
  const std::string time = "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9] ";
  EXPECT_THAT(devhost.Errors(), testing::MatchesRegex(time + "detail    some/File.cpp:11: a detail\n" +       //
                                                      time + "lifecycle some/File.cpp:12: a note\n" +         //
                                                      time + "warning   some/File.cpp:13: a warning\n" +      //
                                                      time + "error     some/File.cpp:14: an error\n" +       //
                                                      "corvalux-devhost: the module refused to start on '" +  //
                                                      address + "'; its log lines say why\n"));
}

TEST_F(Devhost, ShowsLogLinesFromTheChosenLevelOn) {
  for (const std::string level : {"warning", "3"}) {
    test::Process& devhost = RunPlain({"--module", CORVALUX_REFUSING_MODULE, "--log-level", level});
    EXPECT_EQ(devhost.Wait(), 3);
    EXPECT_THAT(devhost.Errors(), Not(HasSubstr("a note")));
    EXPECT_THAT(devhost.Errors(), HasSubstr("a warning"));
    EXPECT_THAT(devhost.Errors(), HasSubstr("an error"));
  }
}

TEST_F(Devhost, QuietPrintsNothingOnStdout) {
  test::Process& devhost = Run({"--quiet", "--seconds", "0.01"});
  EXPECT_EQ(devhost.Wait(), 0);
  EXPECT_THAT(devhost.Output(), IsEmpty());
}

TEST_F(Devhost, SaysWhyAModuleCannotBeLoaded) {
  ExpectComplaint({"--module", "/nowhere/module.so"}, 1, "there is no module file /nowhere/module.so");
  ExpectComplaint({"--module", CORVALUX_NO_MODULE}, 1, "is not a module for this host: it has no symbol");
  ExpectComplaint({"--module", CORVALUX_DEVHOST_FILE}, 1, "the module cannot be loaded");
  ExpectComplaint({"--module", "/"}, 1, "the module cannot be loaded");
}

TEST_F(Devhost, SaysThatTheModuleRefusedToStart) {
  test::Process& devhost = RunPlain({"--set", "serverUrl=unix:/nowhere/socket"});
  EXPECT_EQ(devhost.Wait(), 3);
  EXPECT_THAT(devhost.Errors(), HasSubstr("refused to start on 'unix:/nowhere/socket'; its log lines say why\n"));
  EXPECT_THAT(devhost.Output(), IsEmpty());
}

TEST_F(Devhost, WarnsWhenItSharesItsAddressWithAnother) {
  const std::string shared = "serverUrl=127.0.0.1:" + std::to_string(test::freePort());
  ASSERT_TRUE(RunPlain({"--set", shared}).WaitForOutput("serves"));
  EXPECT_THAT(process->Errors(), Not(HasSubstr("listens on")));
  const std::unique_ptr<test::Process> first = std::move(process);
  ASSERT_TRUE(RunPlain({"--set", shared}).WaitForOutput("serves"));
  // What it says on the one pipe may be read before what it said earlier on the other.
  EXPECT_TRUE(test::eventually([&] { return process->Errors().find("listens on") != std::string::npos; }));
  EXPECT_THAT(process->Errors(),
              ContainsRegex("something listens on 127.0.0.1:[0-9]+ already; clients may reach that"));
}

TEST_F(Devhost, SaysWhatIsWrongWithTheCommandLine) {
  ExpectComplaint({"--set", "port=1"}, 2, "the module has no key 'port'; its keys are serverUrl, grpc_num_cqs, ");
  ExpectComplaint({"--set", "serverUrl"}, 2, "'serverUrl' is not of the form key=value");
  for (const std::string key : {"grpc_num_cqs", "grpc_memory_kb", "grpc_min_pollers", "grpc_max_pollers",
                                "grpc_cq_timeout_ms", "quota_new_max_threads"}) {
    for (const std::string value : {"", "many", "1.5", "12 ", "2147483648"}) {
      ExpectComplaint({"--set", key + "=" + value}, 2, key + " takes an integer of 32 bits, not '" + value + "'");
    }
  }
  ExpectComplaint({"--channels", "0"}, 2, "--channels: takes a whole number from 1 to 1024, not '0'");
  ExpectComplaint({"--channels", "2.5"}, 2, "--channels");
  ExpectComplaint({"--fast-hz", "nan"}, 2, "--fast-hz: takes a number from 0 to 1000, not 'nan'");
  ExpectComplaint({"--seconds", "0"}, 2, "--seconds: takes a number from 0.001");
  ExpectComplaint({"--seed", "-1"}, 2, "--seed: takes a whole number from 0 on, not '-1'");
  ExpectComplaint({"--log-level", "loud"}, 2, "'loud' is no level");
  ExpectComplaint({"--misbehave", "loudly"}, 2, "there is no misbehaviour 'loudly'; there are unknown-kinds, empty-");
  ExpectComplaint({"--replay", ""}, 2, "--replay: takes a file");
  ExpectComplaint({"--replay", "a", "--pace", "0"}, 2, "--pace: takes a number from 0.001 to 1000, not '0'");
  ExpectComplaint({"--pace", "2"}, 2, "--pace requires --replay");
  ExpectComplaint({"--loop"}, 2, "--loop requires --replay");
  ExpectComplaint({"--replay", "a", "--channels", "2"}, 2, "--channels excludes --replay");
  ExpectComplaint({"--frobnicate"}, 2, "--frobnicate");
  ExpectComplaint({"extra"}, 2, "extra");
}

TEST_F(Devhost, ReportsMisuseOfItsInterface) {
  test::Process& devhost = RunPlain({"--module", CORVALUX_MISUSING_MODULE, "--seconds", "0.05"});
  EXPECT_EQ(devhost.Wait(), 4);
  EXPECT_THAT(devhost.Errors(), HasSubstr("misuse of the host's interface: handle removed twice\n"));
  EXPECT_THAT(devhost.Errors(), HasSubstr("misuse of the host's interface: callback still registered after stop\n"));
  EXPECT_THAT(devhost.Output(), HasSubstr("; 2 misuses of the host's interface\n"));
}

TEST_F(Devhost, HelpNamesEveryOptionKeyAndExitCode) {
  test::Process& devhost = RunPlain({"--help"});
  EXPECT_EQ(devhost.Wait(), 0);
  for (const std::string part : {"--module FILE",
                                 "--set KEY=VALUE",
                                 "--channels COUNT",
                                 "--fast-hz HZ",
                                 "--slow-hz HZ",
                                 "--changes-hz HZ",
                                 "--seed NUMBER",
                                 "--replay FILE",
                                 "--pace FACTOR",
                                 "--loop",
                                 "--seconds SECONDS",
                                 "--log-level LEVEL",
                                 "-q,--quiet",
                                 "--version",
                                 "-h,--help",
                                 "serverUrl",
                                 "grpc_num_cqs",
                                 "grpc_memory_kb",
                                 "grpc_min_pollers",
                                 "grpc_max_pollers",
                                 "grpc_cq_timeout_ms",
                                 "quota_new_max_threads",
                                 "Examples:",
                                 "  0  ",
                                 "  1  ",
                                 "  2  ",
                                 "  3  ",
                                 "  4  ",
                                 "  5  "}) {
    EXPECT_THAT(devhost.Output(), HasSubstr(part));
  }
}

}  // namespace
