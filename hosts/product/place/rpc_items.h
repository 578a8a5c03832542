#pragma once

#include "sarm/rpc.h"

#include <string>
#include <utility>
#include <vector>

namespace product {

/// Rational polynomials under the names of RPC00B ("LINE_OFF", ...), as texts.
using RpcItems = std::vector<std::pair<std::string, std::string>>;

/// The texts read back to the same numbers.
RpcItems rpcItems(const sarm::Rpc& rpc);

} // namespace product
