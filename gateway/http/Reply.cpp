#include "gateway/http/Reply.h"

#include <nlohmann/json.hpp>

namespace corvalux::gateway {

Response errorResponse(unsigned status, const std::string& sentence) {
  const nlohmann::json body = {{"error", sentence}};
  return {
      status, "application/json",
      std::make_shared<const std::string>(body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n")};
}

}  // namespace corvalux::gateway
