#include "gateway/http/Request.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

namespace corvalux::gateway {

std::optional<Request> parseTarget(std::string_view target) {
  namespace urls = boost::urls;
  const auto url = urls::parse_origin_form(urls::string_view(target.data(), target.size()));
  if (!url) return std::nullopt;
  Request request;
  for (const auto& segment : url->segments()) request.path.emplace_back(segment);
  if (request.path.size() == 1 && request.path.front().empty()) request.path.clear();
  for (const auto& parameter : url->params()) request.parameters.emplace_back(parameter.key, parameter.value);
  return request;
}

}  // namespace corvalux::gateway
