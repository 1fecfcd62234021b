#pragma once

#include "corvalux/grpc/streams.pb.h"
#include "corvalux/host.h"

namespace bench {

/// The reference for the module's conversion: does the same for any list, in one function that tries the usual case of
/// meters first (floats, as many as before), and does not write keys that have not changed.
void bestFill(KeyValueList list, corvalux::grpc::Meter& message);

}  // namespace bench
