#include "client/Recording.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "recording.pb.h"

namespace corvalux::client {

namespace {

namespace schema = ::corvalux::recording;

constexpr const char* magic = "corvalux recording";
constexpr uint32_t version = 1;
constexpr std::chrono::seconds flushInterval{1};
/// No device sends messages of nearly that length: a longer one is damage, and not worth the memory.
constexpr uint64_t lengthLimit = 64 << 20;

// 0 is STREAM_UNSPECIFIED.
schema::Stream recordedStream(Stream stream) { return static_cast<schema::Stream>(indexOf(stream) + 1); }

std::optional<Stream> streamOf(schema::Stream recorded) {
  const auto* const found = std::find_if(allStreams.begin(), allStreams.end(),
                                         [recorded](Stream stream) { return recordedStream(stream) == recorded; });
  return found == allStreams.end() ? std::nullopt : std::optional(*found);
}

std::string reason() { return std::generic_category().message(errno); }

void writeDelimited(std::ostream& file, const std::string& bytes) {
  for (uint64_t length = bytes.size(); true; length >>= 7) {
    const bool last = length < 0x80;
    file.put(static_cast<char>((length & 0x7F) | (last ? 0 : 0x80)));
    if (last) break;
  }
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::chrono::nanoseconds sinceEpoch(std::chrono::system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch());
}

}  // namespace

RecordingWriter::RecordingWriter(const std::string& path, const RecordingHeader& header)
    : path(path), file(path, std::ios::binary | std::ios::trunc), flushed(std::chrono::steady_clock::now()) {
  schema::Header message;
  message.set_magic(magic);
  message.set_version(version);
  message.set_start_ns(sinceEpoch(header.start).count());
  message.set_source(header.source);
  if (file) writeDelimited(file, message.SerializeAsString());
  Flush();
}

void RecordingWriter::Write(const Record& record) {
  schema::Record message;
  message.set_stream(recordedStream(record.stream));
  message.set_time_ns(static_cast<uint64_t>(record.time.count()));
  message.set_message(record.message);
  writeDelimited(file, message.SerializeAsString());
  Check();
  if (std::chrono::steady_clock::now() - flushed >= flushInterval) Flush();
}

void RecordingWriter::Flush() {
  file.flush();
  flushed = std::chrono::steady_clock::now();
  Check();
}

void RecordingWriter::Check() {
  if (!file) throw std::runtime_error("the recording '" + path + "' cannot be written: " + reason());
}

RecordingReader::RecordingReader(const std::string& path) : path(path), file(path, std::ios::binary) {
  if (!file) throw std::runtime_error("the recording '" + path + "' cannot be opened: " + reason());
  const auto bytes = NextMessage();
  if (file.bad()) throw std::runtime_error(damage);
  schema::Header message;
  if (!bytes || !message.ParseFromString(*bytes) || message.magic() != magic) {
    throw std::runtime_error("'" + path + "' is no recording");
  }
  if (message.version() != version) {
    throw std::runtime_error("the recording '" + path + "' has the version " + std::to_string(message.version()) +
                             " of the format, which this program does not know");
  }
  const std::chrono::nanoseconds start(message.start_ns());
  header = {
      std::chrono::system_clock::time_point(std::chrono::duration_cast<std::chrono::system_clock::duration>(start)),
      message.source()};
}

std::optional<Record> RecordingReader::Next() {
  if (!damage.empty()) return std::nullopt;
  const auto bytes = NextMessage();
  if (!bytes) return std::nullopt;
  schema::Record message;
  const bool parsed = message.ParseFromString(*bytes);
  const auto stream = parsed ? streamOf(message.stream()) : std::nullopt;
  if (!stream) return Spoil("damaged");
  ++records;
  return Record{*stream, std::chrono::nanoseconds(static_cast<int64_t>(message.time_ns())), message.message()};
}

/// The bytes of the next length-delimited message; nothing at the end, or with `damage` set.
std::optional<std::string> RecordingReader::NextMessage() {
  begin = static_cast<uint64_t>(file.tellg());
  uint64_t length = 0;
  for (int shift = 0;; shift += 7) {
    const int byte = file.get();
    if (byte < 0 && shift == 0 && !file.bad()) return std::nullopt;
    if (byte < 0) return Spoil("cut off");
    length |= static_cast<uint64_t>(byte & 0x7F) << shift;
    if (byte < 0x80) break;
    if (shift >= 28) return Spoil("damaged");
  }
  if (length > lengthLimit) return Spoil("damaged");
  std::string bytes(length, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(length));
  if (static_cast<uint64_t>(file.gcount()) < length) return Spoil("cut off");
  return bytes;
}

std::nullopt_t RecordingReader::Spoil(const std::string& what) {
  damage = "the recording '" + path + "' is " + (file.bad() ? "unreadable" : what) + " at byte " +
           std::to_string(begin) + ", after " + std::to_string(records) + (records == 1 ? " record" : " records");
  return std::nullopt;
}

}  // namespace corvalux::client
