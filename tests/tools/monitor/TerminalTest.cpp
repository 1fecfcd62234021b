#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/Deadline.h"
#include "support/FakeDevice.h"
#include "support/TempDir.h"

namespace {

namespace client = ::corvalux::client;
using client::Stream;
using testing::HasSubstr;

/// The monitor in a terminal of its own, which tmux plays.
class TerminalTest : public testing::Test {
 protected:
  ~TerminalTest() override { Tmux("kill-server"); }

  /// Every terminal has a server of its own: one that is being killed may still answer to the next.
  void Open(int columns, int rows, const std::string& environment = "") {
    Tmux("kill-server");
    ++terminals;
    Tmux("-f /dev/null new-session -d -x " + std::to_string(columns) + " -y " + std::to_string(rows) + " \"" +
         environment + " " + CORVALUX_MONITOR_FILE + " " + address + "; echo code $?; exec cat\"");
  }

  std::string Tmux(const std::string& arguments) const {
    const std::string command =
        "env -u TMUX -u NO_COLOR LC_ALL=C.UTF-8 tmux -u -S " + Socket() + " " + arguments + " 2>/dev/null";
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    std::array<char, 4096> bytes;
    for (std::size_t count = 1; count > 0;) {
      count = fread(bytes.data(), 1, bytes.size(), pipe);
      output.append(bytes.data(), count);
    }
    pclose(pipe);
    return output;
  }

  std::string Socket() const { return (folder.Path() / ("tmux" + std::to_string(terminals))).string(); }

  void Keys(const std::string& keys) const { Tmux("send-keys " + keys); }

  /// What stands on the screen once all texts do, or when it was waited for long enough.
  std::string Screen(const std::vector<std::string>& texts, const std::string& how = "") const {
    const auto deadline = std::chrono::steady_clock::now() + test::patience;
    while (true) {
      const std::string screen = Tmux("capture-pane -p " + how);
      const bool all = std::all_of(texts.begin(), texts.end(),
                                   [&](const auto& text) { return screen.find(text) != std::string::npos; });
      if (all || std::chrono::steady_clock::now() >= deadline) return screen;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }

  void ExpectOnScreen(const std::vector<std::string>& texts, const std::string& how = "") const {
    const std::string screen = Screen(texts, how);
    for (const auto& text : texts) EXPECT_THAT(screen, HasSubstr(text));
  }

  void SendAll() {
    auto name = test::keyValue("input/1/name");
    name.mutable_value()->mutable_string_value()->set_data("Voix – côté cour");
    device.Send(Stream::slow, {name});
    auto peak = test::keyValue("input/1/peak");
    peak.mutable_value()->set_float_value(-6);
    auto rms = test::keyValue("input/1/rms");
    rms.mutable_value()->set_float_value(-20);
    auto spectrum = test::keyValue("input/1/spectrum");
    for (const float level : {-120.F, -20.F, 0.F}) spectrum.mutable_value()->mutable_float_array()->add_values(level);
    device.Send(Stream::fast, {peak, rms, spectrum});
    device.SendLevel(Stream::changes, "input/1/gain", -3);
    device.SendLevel(Stream::changes, "input/1/gain", -4.5);
  }

  int terminals = 0;
  const test::TempDir folder;
  const std::string address = folder.UnixAddress("s");
  test::FakeDevice device{address};
};

}  // namespace

TEST_F(TerminalTest, Shows40Columns) {
  SendAll();
  Open(40, 24);
  ExpectOnScreen({"● live", "▸input    -50  -30  -20  -12    0   hold\n", " Voix – … ███████████▒▒▒▒▒▒▒", "-6.0\n",
                  "input/1/gain  -3 → -4.5\n"});
}

TEST_F(TerminalTest, Shows80Columns) {
  SendAll();
  Open(80, 30);
  ExpectOnScreen({"▸input         -60   -40", " Voix – côté … ███", "▁▆█\n", "input/1/gain  -3 → -4.5\n", "? help\n"});
}

TEST_F(TerminalTest, Shows160Columns) {
  SendAll();
  Open(160, 45);
  ExpectOnScreen({" Voix – côté cour ███", "spectra", "changes", "input/1/gain  -3 → -4.5\n"});
}

TEST_F(TerminalTest, FollowsANewSize) {
  SendAll();
  Open(80, 30);
  ExpectOnScreen({" Voix – côté … ███"});
  Tmux("resize-window -x 160 -y 45");
  ExpectOnScreen({" Voix – côté cour ███", "spectra"});
  Tmux("resize-window -x 40 -y 12");
  ExpectOnScreen({" Voix – … ███"});
}

TEST_F(TerminalTest, QLeavesInOrderAndGivesTheTerminalBack) {
  SendAll();
  Open(80, 30);
  ExpectOnScreen({"● live"});
  Keys("q");
  ExpectOnScreen({"code 0"});
}

TEST_F(TerminalTest, CtrlCLeavesInOrder) {
  SendAll();
  Open(80, 30);
  ExpectOnScreen({"● live"});
  Keys("C-c");
  ExpectOnScreen({"code 0"});
}

TEST_F(TerminalTest, KeysReachTheScreen) {
  SendAll();
  Open(80, 30);
  ExpectOnScreen({"● live"});
  Keys("'?'");
  ExpectOnScreen({"forget the held peaks"});
  Keys("Escape");
  Keys("/ gain Enter");
  ExpectOnScreen({"only 'gain'", "no level passes the filter"});
  Keys("Space");
  ExpectOnScreen({"PAUSED"});
}

TEST_F(TerminalTest, HasColoursAndWorksWithoutThem) {
  SendAll();
  Open(80, 30, "TERM=tmux-256color");
  ExpectOnScreen({"\x1B[38;5;34m"}, "-e");
  Open(80, 30, "TERM=tmux-256color NO_COLOR=1");
  EXPECT_EQ(Screen({" Voix – côté … ███"}, "-e").find("\x1B[38;"), std::string::npos);
  ExpectOnScreen({" Voix – côté … ███"});
}

TEST_F(TerminalTest, WhatIsNotUtf8OrDamagedIsCountedOnTheScreen) {
  device.SendLevel(Stream::fast, "bad\xFF", 1);
  device.SendBytes(Stream::fast, "\x0A\x7F");
  SendAll();
  Open(100, 30);
  ExpectOnScreen({"1 rejected", "1 repaired", " Voix – côté cour ███"});
}

TEST_F(TerminalTest, TellsThatTheServerWentAway) {
  SendAll();
  Open(80, 30);
  ExpectOnScreen({"● live"});
  device.End(::grpc::Status::CANCELLED);
  ExpectOnScreen({"○ offline", "the server ended the stream", "trying again in"});
}
