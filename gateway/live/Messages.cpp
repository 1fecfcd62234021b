#include "gateway/live/Messages.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <array>

namespace corvalux::gateway {

namespace {

using google::protobuf::internal::WireFormatLite;

/// The start of a field that holds `size` bytes.
class FieldHead {
 public:
  FieldHead(int field, std::size_t size) {
    using google::protobuf::io::CodedOutputStream;
    uint8_t* end = WireFormatLite::WriteTagToArray(field, WireFormatLite::WIRETYPE_LENGTH_DELIMITED, octets.data());
    end = CodedOutputStream::WriteVarint32ToArray(static_cast<uint32_t>(size), end);
    length = static_cast<std::size_t>(end - octets.data());
  }

  std::size_t Size() const { return length; }
  void AppendTo(std::string& to) const { to.append(octets.begin(), octets.begin() + length); }

 private:
  std::array<uint8_t, 10> octets{};
  std::size_t length;
};

/// Fields of a message may come in any order: the entries are last, where their octets can follow.
template <typename Message>
void append(int field, const Message& message, int entriesField, std::size_t entries, std::string& to) {
  const FieldHead last(entriesField, entries);
  FieldHead(field, message.ByteSizeLong() + last.Size() + entries).AppendTo(to);
  message.AppendToString(&to);
  last.AppendTo(to);
}

}  // namespace

void appendHead(const live::Update& update, std::size_t entries, std::string& to) {
  append(live::ToViewer::kUpdateFieldNumber, update, live::Update::kEntriesFieldNumber, entries, to);
}

void appendHead(const live::Snapshot& snapshot, std::size_t entries, std::string& to) {
  append(live::ToViewer::kSnapshotFieldNumber, snapshot, live::Snapshot::kEntriesFieldNumber, entries, to);
}

}  // namespace corvalux::gateway
