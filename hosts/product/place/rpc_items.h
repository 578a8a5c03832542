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

/// The texts give the same numbers when read back.
RpcItems rpcItems(const sarm::Rpc& rpc);

/// @return nothing when an item is missing or is no number; the error items may be missing.
std::optional<sarm::Rpc> rpcOf(const RpcItems& items);

/// Converts coefficients from the order of RPC00A to that of RPC00B.
sarm::Rpc fromEarlierOrder(const sarm::Rpc& rpc);

} // namespace product
