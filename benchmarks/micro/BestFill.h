#pragma once

#include "corvalux/grpc/streams.pb.h"
#include "corvalux/host.h"

namespace bench {

/// The yardstick of the module's conversion: does the same for any list, in one function that first tries what meters
/// mostly are, floats of the same number as before, and leaves keys alone that have not changed.
void bestFill(KeyValueList list, corvalux::grpc::Meter& message);

}  // namespace bench
