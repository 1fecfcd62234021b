#include "support/ScriptedStream.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/Deadline.h"
#include "support/StreamClient.h"

namespace test {

ScriptedStream::ScriptedStream(::grpc::ServerGenericBidiReactor* reactor, bool bind) : bidi(reactor) {
  if (bind) Bind();
}

ScriptedStream::~ScriptedStream() {
  if (bidi) Done();
}

void ScriptedStream::Bind() { BindReactor(bidi); }

void ScriptedStream::CompleteWrite(bool ok) {
  {
    const std::lock_guard lock(mutex);
    if (!std::exchange(writing, false)) ADD_FAILURE() << "no write is outstanding";
  }
  bidi->OnWriteDone(ok);
}

void ScriptedStream::CompleteRead(bool ok) { bidi->OnReadDone(ok); }

void ScriptedStream::Cancel() { bidi->OnCancel(); }

void ScriptedStream::Done() { std::exchange(bidi, nullptr)->OnDone(); }

std::vector<ScriptedStream::Written> ScriptedStream::Writes() const {
  const std::lock_guard lock(mutex);
  return writes;
}

std::vector<std::string> ScriptedStream::Sent() const {
  std::vector<std::string> sent;
  for (const Written& written : Writes()) sent.push_back(written.bytes);
  return sent;
}

std::string ScriptedStream::LastSent() const {
  const std::lock_guard lock(mutex);
  return writes.empty() ? std::string() : writes.back().bytes;
}

std::vector<::grpc::Status> ScriptedStream::Finishes() const {
  const std::lock_guard lock(mutex);
  return finishes;
}

bool ScriptedStream::Writing() const {
  const std::lock_guard lock(mutex);
  return writing;
}

bool ScriptedStream::WaitForWrite() const {
  std::unique_lock lock(mutex);
  return changed.wait_for(lock, patience, [this] { return writing; });
}

bool ScriptedStream::WaitForFinish() const {
  std::unique_lock lock(mutex);
  return changed.wait_for(lock, patience, [this] { return !finishes.empty(); });
}

void ScriptedStream::Write(const ::grpc::ByteBuffer* message, ::grpc::WriteOptions options) {
  const std::lock_guard lock(mutex);
  if (onWrite) onWrite();
  if (std::exchange(writing, true)) ADD_FAILURE() << "written while a write is outstanding";
  if (!finishes.empty()) ADD_FAILURE() << "written after the end";
  writes.push_back({message, bytesOf(*message), options});
  changed.notify_all();
}

void ScriptedStream::Finish(::grpc::Status status) {
  if (onFinish) onFinish();
  const std::lock_guard lock(mutex);
  finishes.push_back(std::move(status));
  changed.notify_all();
}

}  // namespace test
