#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace corvalux::gateway {

struct AdmissionLimits {
  std::size_t clients = 1'000;    ///< connections in all
  std::size_t perAddress = 100;   ///< connections of one address
  double requestsPerSecond = 50;  ///< of one address, with bursts of twice as many
};

/// Counts connections and requests by the address they come from. IPv6 addresses count by their first 64 bits, since
/// whoever has one has all of these.
/// Threads: the loop's. Tickets may outlive this.
class Admission {
 public:
  using Clock = std::chrono::steady_clock;

  /// A place; free again with its destruction.
  class Ticket {
   public:
    explicit Ticket(std::shared_ptr<std::size_t> count) : count(std::move(count)) { ++*this->count; }
    ~Ticket() { --*count; }
    Ticket(const Ticket&) = delete;
    Ticket& operator=(const Ticket&) = delete;

   private:
    std::shared_ptr<std::size_t> count;
  };

  explicit Admission(AdmissionLimits limits) : limits(limits) {}

  /// A place among all clients; null when there is none.
  std::unique_ptr<Ticket> Enter();
  /// A place among the clients of an address; null when there is none.
  std::unique_ptr<Ticket> EnterFrom(const std::string& address);
  /// Whether one more request may come from this address now.
  bool MayAsk(const std::string& address, Clock::time_point now);
  /// A request of this address cost the loop's thread so much time: it counts as many, so that an address has a quarter
  /// of the thread at most.
  void Charge(const std::string& address, Clock::duration work);
  /// Whether an address has taken far more than its share, and must give something up. Then its debt is forgiven.
  bool MustGiveUp(const std::string& address, Clock::time_point now);

  std::size_t Clients() const { return *clients; }

 private:
  struct Origin {
    std::shared_ptr<std::size_t> connections = std::make_shared<std::size_t>(0);
    double allowance = 0;  ///< requests
    Clock::time_point renewed;
  };

  Origin& Of(const std::string& address, Clock::time_point now);
  void Renew(Origin& origin, Clock::time_point now) const;
  void Forget(Clock::time_point now);

  const AdmissionLimits limits;
  std::shared_ptr<std::size_t> clients = std::make_shared<std::size_t>(0);
  std::map<std::string, Origin> origins;
  Clock::time_point swept;  ///< when Forget was called
};

}  // namespace corvalux::gateway
