// What is hard to see of a stream from outside: the queue after a failed write, and the mutex that its destructor
// takes.
#include <pthread.h>

#include <deque>
#include <memory>
#include <mutex>

#include "unit/ReactorFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using MeterReactor = corvalux::grpc::WriterReactorGeneric<corvalux::grpc::Meter>;

// An explicit instantiation may name private members.
std::deque<test::Buffer>& queueOf(MeterReactor& reactor);
std::mutex& mutexOf(MeterReactor& reactor);

template <auto queue, auto mutex>
struct InnerAccess {
  friend std::deque<test::Buffer>& queueOf(MeterReactor& reactor) { return reactor.*queue; }
  friend std::mutex& mutexOf(MeterReactor& reactor) { return reactor.*mutex; }
};

template struct InnerAccess<&MeterReactor::pendingQueue, &MeterReactor::mutex>;

// ---- Messages that wait while no write is outstanding: between a failed write and the end of the stream ----

class ReactorInner : public test::ReactorFixture {
 protected:
  explicit ReactorInner(bool keepLatestOnly = true) : ReactorFixture(keepLatestOnly) {
    for (const char* text : {"old", "older"}) queueOf(*reactor).push_back(test::bufferOf(text));
  }
};

class ReactorInnerWithBacklog : public ReactorInner {
 protected:
  ReactorInnerWithBacklog() : ReactorInner(false) {}
};

TEST_F(ReactorInner, WriteBehindWaitingMessagesStartsTheNewest) {
  const std::weak_ptr<grpc::ByteBuffer> old = queueOf(*reactor).front();
  Write("new");
  EXPECT_THAT(stream.Sent(), ElementsAre("new"));
  EXPECT_TRUE(old.expired());
  EXPECT_THAT(queueOf(*reactor), IsEmpty());
}

TEST_F(ReactorInnerWithBacklog, WriteBehindWaitingMessagesStartsTheOldest) {
  Write("new");
  EXPECT_THAT(stream.Sent(), ElementsAre("old"));
  stream.CompleteWrite();
  stream.CompleteWrite();
  EXPECT_THAT(stream.Sent(), ElementsAre("old", "older", "new"));
}

// ---- Destruction ----

/// Makes a second lock by the thread that holds the mutex an error, instead of a deadlock.
void refuseTheHolder(std::mutex& mutex) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
  pthread_mutex_init(mutex.native_handle(), &attributes);
  pthread_mutexattr_destroy(&attributes);
}

TEST_F(ReactorInner, DestructorTakesTheMutex) {
  const auto destroyWhileHeld = [this] {
    refuseTheHolder(mutexOf(*reactor));
    mutexOf(*reactor).lock();
    stream.Done();
  };
  EXPECT_DEATH(destroyWhileHeld(), "deadlock");
}

}  // namespace
