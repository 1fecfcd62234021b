#include "client/Recording.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "support/TempDir.h"

namespace corvalux::client {

namespace {

using std::chrono::nanoseconds;
using testing::HasSubstr;

const std::vector<Record> someRecords = {{Stream::fast, nanoseconds(0), "first"},
                                         {Stream::changes, nanoseconds(40'000'001), ""},
                                         {Stream::slow, nanoseconds(9'000'000'000'000), std::string(300, '\0')},
                                         {Stream::fast, nanoseconds(9'000'000'000'001), "\xFF\x80"}};

class RecordingTest : public testing::Test {
 protected:
  void WriteAll(const std::vector<Record>& records) const {
    RecordingWriter writer(path,
                           {std::chrono::system_clock::time_point(std::chrono::seconds(1'767'225'600)), "mixer:50005"});
    for (const Record& record : records) writer.Write(record);
  }

  static std::vector<Record> ReadAll(RecordingReader& reader) {
    std::vector<Record> records;
    while (auto record = reader.Next()) records.push_back(std::move(*record));
    return records;
  }

  std::string Bytes() const {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
  }

  void Replace(const std::string& bytes) const { std::ofstream(path, std::ios::binary) << bytes; }

  /// What the reader's constructor says.
  std::string Refusal() const {
    try {
      const RecordingReader reader(path);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  const test::TempDir folder;
  const std::string path = (folder.Path() / "a.recording").string();
};

}  // namespace

TEST_F(RecordingTest, GivesBackWhatWasWritten) {
  WriteAll(someRecords);
  RecordingReader reader(path);
  EXPECT_EQ(reader.Header().source, "mixer:50005");
  EXPECT_EQ(reader.Header().start.time_since_epoch(), std::chrono::seconds(1'767'225'600));
  EXPECT_EQ(ReadAll(reader), someRecords);
  EXPECT_EQ(reader.Damage(), "");
}

TEST_F(RecordingTest, WithoutRecordsIsGood) {
  WriteAll({});
  RecordingReader reader(path);
  EXPECT_FALSE(reader.Next());
  EXPECT_EQ(reader.Damage(), "");
}

TEST_F(RecordingTest, HasTheDocumentedBytes) {
  WriteAll({{Stream::changes, nanoseconds(5), "ab"}});
  const std::string bytes = Bytes();
  EXPECT_EQ(bytes.substr(1, 20),
            "\x0A\x12"
            "corvalux recording");
  EXPECT_EQ(bytes.substr(bytes.size() - 9),
            "\x08\x08\x03\x10\x05\x1A\x02"
            "ab");
}

TEST_F(RecordingTest, CutOffAnywhereGivesAllBeforeTheCut) {
  WriteAll(someRecords);
  const std::string bytes = Bytes();
  std::size_t complete = 0;
  for (std::size_t size = bytes.size() - 1; size > 60; --size) {
    Replace(bytes.substr(0, size));
    RecordingReader reader(path);
    const auto records = ReadAll(reader);
    EXPECT_LT(records.size(), someRecords.size());
    for (std::size_t i = 0; i < records.size(); ++i) EXPECT_EQ(records[i], someRecords[i]);
    if (reader.Damage().empty()) {
      ++complete;  // cut exactly between two records
    } else {
      EXPECT_THAT(reader.Damage(), HasSubstr("is cut off at byte "));
      EXPECT_THAT(reader.Damage(), HasSubstr("after " + std::to_string(records.size()) + " record"));
    }
  }
  EXPECT_LE(complete, someRecords.size());
}

TEST_F(RecordingTest, DamageGivesAllBeforeIt) {
  WriteAll(someRecords);
  const std::string bytes = Bytes();
  WriteAll({});
  const std::size_t firstRecord = Bytes().size();
  WriteAll({someRecords[0]});
  const std::size_t secondRecord = Bytes().size();
  for (const std::string damage : {"\xFF\xFF\xFF\xFF\xFF", "\x02\x08\x07", "\x01\xFF"}) {
    Replace(bytes.substr(0, secondRecord) + damage + bytes.substr(secondRecord));
    RecordingReader reader(path);
    EXPECT_EQ(ReadAll(reader), std::vector{someRecords[0]});
    EXPECT_EQ(reader.Damage(),
              "the recording '" + path + "' is damaged at byte " + std::to_string(secondRecord) + ", after 1 record");
    EXPECT_FALSE(reader.Next());
  }
  EXPECT_LT(firstRecord, secondRecord);
}

TEST_F(RecordingTest, AReadErrorBetweenTwoRecordsIsDamageNotTheEnd) {
  WriteAll({});
  RecordingReader reader(path);
  // From now on the reader's file is a folder.
  const int unreadable = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (std::filesystem::read_symlink(entry, gone) == path) dup2(unreadable, std::stoi(entry.path().filename()));
  }
  close(unreadable);
  EXPECT_FALSE(reader.Next());
  EXPECT_THAT(reader.Damage(), HasSubstr("the recording '" + path + "' is unreadable at byte "));
}

TEST_F(RecordingTest, OtherFilesAreRefusedWithASentence) {
  EXPECT_THAT(Refusal(), HasSubstr("cannot be opened: No such file or directory"));
  std::filesystem::create_directory(path);
  EXPECT_THAT(Refusal(), HasSubstr("is unreadable at byte 0"));
  std::filesystem::remove(path);
  for (const std::string bytes : {"", "#!/bin/sh\nexit\n", "\x05"}) {
    Replace(bytes);
    EXPECT_THAT(Refusal(), HasSubstr("is no recording"));
  }
}

TEST_F(RecordingTest, ANewerFormatIsRefused) {
  WriteAll({});
  std::string bytes = Bytes();
  ASSERT_EQ(bytes.substr(21, 2), "\x10\x01");
  bytes[22] = 2;
  Replace(bytes);
  EXPECT_THAT(Refusal(), HasSubstr("has the version 2 of the format"));
}

TEST_F(RecordingTest, AFileThatCannotBeWrittenIsASentence) {
  EXPECT_THROW(RecordingWriter("/nowhere/a", {}), std::runtime_error);
  EXPECT_THROW(RecordingWriter("/dev/full", {}), std::runtime_error);
}

}  // namespace corvalux::client
