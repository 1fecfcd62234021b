#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "gateway/api/EventStream.h"
#include "gateway/api/Metrics.h"
#include "gateway/devices/Devices.h"
#include "gateway/http/Reply.h"
#include "gateway/live/Viewers.h"
#include "gateway/page/Files.h"

namespace corvalux::gateway {

struct ApiLimits {
  std::size_t patterns = 16;              ///< of a request
  double hz = 100;                        ///< the greatest rate that can be asked for
  std::size_t metricsBytes = 32UL << 20;  ///< of a page of metrics; what is beyond it is left out
};

/// Answers what scripts and monitoring ask.
/// Threads: the loop's.
class Api {
 public:
  /// `counts` is asked for each page of metrics. Everything given must outlive this and its replies.
  Api(boost::asio::io_context& loop, Devices& devices, Viewers& viewers, const Files& page, ApiLimits limits,
      std::function<ClientCounts()> counts);

  Reply Handle(const Request& request);

  /// Frames that slow readers did not get.
  uint64_t Skipped() const { return skipped; }

 private:
  /// What a request asks of a device.
  struct Query {
    Patterns keys;
    std::vector<client::Stream> streams;
    std::optional<double> hz;
  };

  /// Throws std::invalid_argument with a sentence. `known`: the parameters that may be there.
  Query QueryOf(const Request& request, const std::vector<std::string>& known) const;
  Reply OfDevice(const Request& request);
  Reply Live(const Request& request);
  Octets Metrics();
  std::shared_ptr<Selection> SelectionOf(const Device& device, const Patterns& keys);

  boost::asio::io_context& loop;
  Devices& devices;
  Viewers& viewers;
  const Files& page;
  const ApiLimits limits;
  const std::function<ClientCounts()> counts;
  uint64_t skipped = 0;
  std::map<std::pair<const Device*, std::string>, std::weak_ptr<Selection>> selections;
  Octets metrics;  ///< made for all who ask within a second
  Device::Clock::time_point metricsMade;
};

}  // namespace corvalux::gateway
