// The built file as the host's loader sees it.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <link.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "sim/LoadedModule.h"
#include "support/ModuleTest.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using Names = std::set<std::string>;

/// The lines that `readelf -W OPTION` prints of the module.
std::vector<std::string> readelf(const std::string& option) {
  const std::string command = std::string(CORVALUX_READELF) + " -W " + option + " '" + CORVALUX_MODULE_FILE + "'";
  std::string output;
  FILE* const pipe = popen(command.c_str(), "r");
  std::array<char, 4096> part{};
  for (std::size_t n = 0; pipe && (n = fread(part.data(), 1, part.size(), pipe)) > 0;) output.append(part.data(), n);
  EXPECT_TRUE(pipe && pclose(pipe) == 0) << command;
  std::vector<std::string> lines;
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  EXPECT_FALSE(lines.empty()) << command;
  return lines;
}

/// The first group of each line that the pattern matches.
Names grep(const std::vector<std::string>& lines, const std::string& pattern) {
  Names found;
  std::smatch match;
  for (const std::string& line : lines) {
    if (std::regex_search(line, match, std::regex(pattern))) found.insert(match[1]);
  }
  return found;
}

std::string bytesOfModule() {
  std::ifstream file(CORVALUX_MODULE_FILE, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

constexpr bool sanitized = sizeof(CORVALUX_SANITIZERS) > 1;

TEST(Binary, ExportsTheTwoDataSymbolsAndNothingElse) {
  const auto symbols = readelf("--dyn-syms");
  const std::string place = R"((?:GLOBAL|WEAK|UNIQUE)\s+\S+\s+(?:[0-9]+|ABS)\s+(\S+)$)";
  EXPECT_EQ(grep(symbols, place), (Names{"plugin_entry_0_6", "plugin_entry_corvalux_module_version"}));
  EXPECT_EQ(grep(symbols, R"( (\d+) OBJECT\s+GLOBAL DEFAULT\s+[0-9]+ plugin_entry_0_6$)"), Names{"64"});
  EXPECT_EQ(grep(symbols, R"( (\d+) OBJECT\s+GLOBAL DEFAULT\s+[0-9]+ plugin_entry_corvalux_module_version$)"),
            Names{"8"});
}

TEST(Binary, ImportsTheEightHostFunctionsAndNoOtherOfThatPrefix) {
  EXPECT_EQ(
      grep(readelf("--dyn-syms"), R"(UND (corvalux_\S+))"),
      (Names{"corvalux_log", "corvalux_keyValueListGetI", "corvalux_keyValueListGetS", "corvalux_keyValueListForEach",
             "corvalux_engine_addCallbackMeterManager", "corvalux_engine_rmCallbackMeterManager",
             "corvalux_engine_notify_changes_addCallback", "corvalux_engine_notify_changes_rmCallback"}));
}

TEST(Binary, IsBoundAtOnceReadOnlyAfterwardsAndNeverUnloaded) {
  const auto dynamic = readelf("--dynamic");
  EXPECT_EQ(grep(dynamic, R"(\(FLAGS_1\).*\b(NODELETE)\b)").size(), 1U);
  EXPECT_EQ(grep(dynamic, R"(\(FLAGS_1\).*\b(NOW)\b)").size(), 1U);
  EXPECT_EQ(grep(dynamic, R"((\(TEXTREL\)))"), Names{});
  EXPECT_EQ(grep(dynamic, R"((\(RPATH\)|\(RUNPATH\)))"), Names{}) << "a path of the machine that built it";
  const auto segments = readelf("--segments");
  EXPECT_EQ(grep(segments, R"(\b(GNU_RELRO)\b)").size(), 1U);
  EXPECT_EQ(grep(segments, R"(GNU_STACK.* (RWE) )"), Names{}) << "an executable stack";
}

// ---- What it brings along ----

/// The C and C++ runtime, gRPC without TLS with what it brings, and the lite protocol-buffer library. Newer releases of
/// the two are split into more libraries: libupb_*, libutf8_*.
const std::string allowed =
    "lib(c|m|stdc\\+\\+|gcc_s|pthread|dl|rt|grpc\\+\\+_unsecure|grpc_unsecure|gpr|upb|upb_[a-z_]+|utf8_[a-z]+|"
    "address_sorting|absl_[a-z_0-9]+|cares|z|re2|protobuf-lite)\\.so.*|ld-linux.*|linux-vdso.*" +
    std::string(sanitized ? "|lib[a-z]+san\\.so.*" : "");

const std::string forbidden = "lib(protobuf|protoc|grpc|grpc\\+\\+|ssl|crypto)\\.so.*";

void expectAllowed(const Names& libraries) {
  EXPECT_THAT(libraries, testing::SizeIs(testing::Gt(3U)));
  for (const std::string& library : libraries) {
    EXPECT_TRUE(std::regex_match(library, std::regex(allowed))) << library;
    EXPECT_FALSE(std::regex_match(library, std::regex(forbidden))) << library;
  }
}

TEST(Binary, NeedsOnlyTheRuntimeUnsecureGrpcAndTheLiteLibrary) {
  expectAllowed(grep(readelf("--dynamic"), R"(\(NEEDED\).*\[(\S+)\])"));
}

TEST(Binary, WhatItNeedsBringsNothingElseEither) {
  // This program needs more than the module does: the module's own share is what hangs below it.
  const sim::LoadedModule module(CORVALUX_MODULE_FILE);
  Names found;
  std::vector<std::string> open = {CORVALUX_MODULE_FILE};
  while (!open.empty()) {
    void* const library = dlopen(open.back().c_str(), RTLD_LAZY | RTLD_NOLOAD);
    open.pop_back();
    ASSERT_TRUE(library);
    const link_map* map = nullptr;
    ASSERT_EQ(dlinfo(library, RTLD_DI_LINKMAP, static_cast<void*>(&map)), 0);
    const char* strings = nullptr;
    for (const ElfW(Dyn)* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
      if (entry->d_tag == DT_STRTAB) strings = reinterpret_cast<const char*>(entry->d_un.d_ptr);
    }
    for (const ElfW(Dyn)* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
      if (entry->d_tag != DT_NEEDED) continue;
      const std::string name = strings + entry->d_un.d_val;
      if (found.insert(name).second) open.push_back(name);
    }
    dlclose(library);
  }
  EXPECT_THAT(found, testing::Contains("libc.so.6"));
  expectAllowed(found);
}

TEST(Binary, ContainsNoPathOfTheMachineThatBuiltIt) {
  if (sanitized) GTEST_SKIP() << "a sanitizer keeps the paths for its reports";
  const std::string bytes = bytesOfModule();
  EXPECT_FALSE(bytes.empty());
  EXPECT_THAT(bytes.find(CORVALUX_SOURCE_DIR), std::string::npos);
  EXPECT_THAT(bytes.find(CORVALUX_BUILD_DIR), std::string::npos);
}

// ---- The two symbols ----

TEST(Descriptor, IsEightWordsReadInPlace) {
  const sim::LoadedModule module(CORVALUX_MODULE_FILE);
  std::array<std::uint64_t, 8> words{};
  static_assert(sizeof words == 64);
  std::memcpy(words.data(), &module.Entry(), sizeof words);
  EXPECT_STREQ(reinterpret_cast<const char*>(words[0]), "grpc");
  EXPECT_EQ(words[1], 0U);
  EXPECT_NE(words[2], 0U);
  EXPECT_EQ(words[3], 0U);
  EXPECT_NE(words[4], 0U);
  EXPECT_NE(words[4], words[2]);
  EXPECT_EQ(words[5], 0U);
  EXPECT_EQ(words[6], 0U);
  EXPECT_EQ(words[7], 1U);
}

TEST(Descriptor, PointsToRoutinesOfTheModuleItself) {
  const sim::LoadedModule module(CORVALUX_MODULE_FILE);
  Dl_info descriptor{};
  ASSERT_NE(dladdr(&module.Entry(), &descriptor), 0);
  for (const void* routine : {reinterpret_cast<const void*>(module.Entry().startCycle),
                              reinterpret_cast<const void*>(module.Entry().stopCycle)}) {
    Dl_info place{};
    ASSERT_NE(dladdr(routine, &place), 0);
    EXPECT_EQ(place.dli_fbase, descriptor.dli_fbase);
  }
}

TEST(Descriptor, VersionIsTheProjects) {
  const sim::LoadedModule module(CORVALUX_MODULE_FILE);
  EXPECT_EQ(module.Version(), CORVALUX_VERSION);
}

TEST(Descriptor, StaysInPlaceAfterAnUnload) {
  const PluginEntry* entry = nullptr;
  {
    const sim::LoadedModule module(CORVALUX_MODULE_FILE);
    entry = &module.Entry();
  }
  EXPECT_STREQ(entry->name, "grpc");
  const sim::LoadedModule again(CORVALUX_MODULE_FILE);
  EXPECT_EQ(&again.Entry(), entry);
}

}  // namespace
