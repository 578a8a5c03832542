// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/rpc.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace product {

/// Rational polynomials under the names of RPC00B ("LINE_OFF", ...), as texts.
using RpcItems = std::vector<std::pair<std::string, std::string>>;

/// The texts read back to the same numbers.
RpcItems rpcItems(const sarm::Rpc& rpc);

/// @return nothing when an item is missing or no number; errors may be missing.
std::optional<sarm::Rpc> rpcOf(const RpcItems& items);

/// Coefficients that stand in the order of RPC00A, which differs from RPC00B's, put in order.
sarm::Rpc fromEarlierOrder(const sarm::Rpc& rpc);

} // namespace product
