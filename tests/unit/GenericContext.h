#pragma once

#include <grpcpp/generic/async_generic_service.h>

#include <memory>
#include <string>

namespace test {

/// The context of a call of `method`, as the library hands it to a generic service.
std::unique_ptr<::grpc::GenericCallbackServerContext> contextOf(const std::string& method);

}  // namespace test
