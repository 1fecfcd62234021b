#include "gateway/http/Admission.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <utility>

#include "gateway/http/PlainAddress.h"

namespace corvalux::gateway {

namespace {

constexpr std::size_t originsLimit = 10'000;
constexpr double burstSeconds = 2;
constexpr double debtSeconds = 10;                ///< that an address may be behind
constexpr double share = 0.25;                    ///< of the thread, for one address
constexpr std::chrono::seconds sweepInterval{1};  ///< each looks at all addresses

/// What counts as one address.
std::string groupOf(const std::string& text) {
  boost::system::error_code error;
  const auto address = plainAddress(boost::asio::ip::make_address(text, error));
  if (error) return text;
  if (address.is_v4()) return address.to_string();
  auto bytes = address.to_v6().to_bytes();
  std::fill(bytes.begin() + 8, bytes.end(), 0);
  return boost::asio::ip::make_address_v6(bytes).to_string();
}

}  // namespace

std::unique_ptr<Admission::Ticket> Admission::Enter() {
  return *clients < limits.clients ? std::make_unique<Ticket>(clients) : nullptr;
}

std::unique_ptr<Admission::Ticket> Admission::EnterFrom(const std::string& address) {
  const Origin& origin = Of(groupOf(address), Clock::now());
  return *origin.connections < limits.perAddress ? std::make_unique<Ticket>(origin.connections) : nullptr;
}

bool Admission::MayAsk(const std::string& address, Clock::time_point now) {
  Origin& origin = Of(groupOf(address), now);
  Renew(origin, now);
  if (origin.allowance < 1) return false;
  --origin.allowance;
  return true;
}

void Admission::Charge(const std::string& address, Clock::duration work) {
  const double seconds = std::chrono::duration<double>(work).count();
  Of(groupOf(address), Clock::now()).allowance -= seconds * limits.requestsPerSecond / share;
}

bool Admission::MustGiveUp(const std::string& address, Clock::time_point now) {
  Origin& origin = Of(groupOf(address), now);
  Renew(origin, now);
  if (origin.allowance > -debtSeconds * limits.requestsPerSecond) return false;
  origin.allowance = 0;
  return true;
}

void Admission::Renew(Origin& origin, Clock::time_point now) const {
  const double passed = std::chrono::duration<double>(now - origin.renewed).count();
  origin.allowance =
      std::min(origin.allowance + passed * limits.requestsPerSecond, burstSeconds * limits.requestsPerSecond);
  origin.renewed = now;
}

Admission::Origin& Admission::Of(const std::string& address, Clock::time_point now) {
  const auto known = origins.find(address);
  if (known != origins.end()) return known->second;
  if (origins.size() >= originsLimit && now - swept >= sweepInterval) Forget(now);
  Origin& origin = origins[address];
  origin.allowance = burstSeconds * limits.requestsPerSecond;
  origin.renewed = now;
  return origin;
}

/// Drops the addresses of which nothing needs to be known: without connections and with their whole allowance.
void Admission::Forget(Clock::time_point now) {
  swept = now;
  std::erase_if(origins, [&](const auto& each) {
    const auto passed = std::chrono::duration<double>(now - each.second.renewed).count();
    return *each.second.connections == 0 &&
           each.second.allowance + passed * limits.requestsPerSecond >= burstSeconds * limits.requestsPerSecond;
  });
}

}  // namespace corvalux::gateway
