// The library against the real module, in the development host.
#include <gmock/gmock.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Notebook.h"
#include "client/Feed.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace corvalux::client {

namespace {

class Device : public testing::Test {
 protected:
  void Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {CORVALUX_DEVHOST_FILE, "--set", "serverUrl=" + address, "--channels", "2"});
    devhost = std::make_unique<test::Process>(arguments);
    ASSERT_TRUE(devhost->WaitForOutput("serves"));
  }

  FeedSettings Settings() const { return {address, {allStreams.begin(), allStreams.end()}}; }

  static std::vector<Value> ValuesOf(const Message& message, const std::string& key) {
    std::vector<Value> values;
    for (const Entry& entry : message.entries) {
      if (entry.key == key) values.push_back(entry.value);
    }
    return values;
  }

  const test::TempDir folder;
  const std::string address = folder.UnixAddress();
  std::unique_ptr<test::Process> devhost;
  Notebook notebook;
};

std::ptrdiff_t threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
}

}  // namespace

TEST_F(Device, TextsThatAreNotUtf8CostOnlyThemselves) {
  Run({"--misbehave", "not-utf8", "--fast-hz", "50", "--slow-hz", "50", "--changes-hz", "50"});
  const Feed feed(Settings(), notebook);
  std::array<int, allStreams.size()> repaired{};
  for (const Message& message : notebook.WaitForMessages(40)) {
    EXPECT_TRUE(message.valid);
    const bool odd = message.bytes.find("caf\xE9") != std::string::npos;
    EXPECT_EQ(message.repairedTexts, odd ? 2U : 0U);
    EXPECT_EQ(ValuesOf(message, "odd/latin-1"),
              odd ? std::vector<Value>{std::string("caf\uFFFD")} : std::vector<Value>{});
    EXPECT_EQ(ValuesOf(message, "odd/key-\uFFFD"), odd ? std::vector<Value>{1U} : std::vector<Value>{});
    EXPECT_FALSE(ValuesOf(message, "counter").empty());
    repaired.at(indexOf(message.stream)) += odd ? 1 : 0;
  }
  EXPECT_THAT(repaired, testing::Each(testing::Gt(0)));
}

TEST_F(Device, WhatElseIsUnusualIsDecoded) {
  Run({"--misbehave", "unknown-kinds", "--misbehave", "empty-texts", "--misbehave", "huge-lists", "--misbehave",
       "zero-counts", "--misbehave", "duplicate-keys", "--fast-hz", "50"});
  const Feed feed(Settings(), notebook);
  for (const Message& message : notebook.WaitForMessages(40)) {
    EXPECT_TRUE(message.valid);
    EXPECT_EQ(message.repairedTexts, 0U);
    EXPECT_EQ(ValuesOf(message, "odd/twice").size(), 2U);
  }
}

TEST_F(Device, FeedsHaveNoThreadsOfTheirOwn) {
  Run({});
  Notebook others;
  std::vector<std::unique_ptr<Feed>> feeds;
  feeds.push_back(std::make_unique<Feed>(Settings(), notebook));
  notebook.WaitForMessages(1);
  const auto withOne = threads();
  for (int i = 1; i < 100; ++i) feeds.push_back(std::make_unique<Feed>(Settings(), others));
  others.WaitFor(Phase::connected, 99);
  EXPECT_LT(threads() - withOne, 10);  // the library starts a few more when it has much to do
}

TEST_F(Device, OneThatFreezesIsNoticed) {
  Run({});
  FeedSettings settings = Settings();
  settings.keepalive = {std::chrono::milliseconds(1000), std::chrono::milliseconds(1000)};
  const Feed feed(settings, notebook);
  notebook.WaitForMessages(1);
  devhost->Signal(SIGSTOP);
  EXPECT_TRUE(notebook.WaitFor(Phase::waiting).hadConnection);
  devhost->Signal(SIGCONT);
  notebook.WaitFor(Phase::connected, 2);
}

}  // namespace corvalux::client
