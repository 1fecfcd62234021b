#pragma once

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <memory>
#include <string>

#include "gateway/http/Admission.h"
#include "gateway/http/Session.h"

namespace corvalux::gateway {

/// A connection whose client asks for a WebSocket; what of it the HTTP server knew.
struct Handover {
  using Request = boost::beast::http::request<boost::beast::http::empty_body>;

  Session::Socket socket;
  Request request;
  std::string address;                              ///< the client's, behind a trusted proxy too
  Admission& admission;                             ///< of the server; it lasts as long as the loop runs
  std::unique_ptr<Admission::Ticket> place;         ///< among all clients
  std::unique_ptr<Admission::Ticket> addressPlace;  ///< among those of the address
};

}  // namespace corvalux::gateway
