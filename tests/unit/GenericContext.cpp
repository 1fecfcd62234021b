#include "unit/GenericContext.h"

namespace test {

namespace {

using Context = ::grpc::GenericCallbackServerContext;

std::string& methodOf(Context& context);

// Only the library's server sets a call's method. An explicit instantiation may name private members.
template <std::string Context::*member>
struct Access {
  friend std::string& methodOf(Context& context) { return context.*member; }
};

template struct Access<&Context::method_>;

}  // namespace

std::unique_ptr<Context> contextOf(const std::string& method) {
  auto context = std::make_unique<Context>();
  methodOf(*context) = method;
  return context;
}

}  // namespace test
