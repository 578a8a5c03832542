#pragma once

#include "kxfr/kxfr.h"
#include "sarm/rpc.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace product {

/// Rational polynomials under the names of RPC00B ("LINE_OFF", ...), as texts.
using RpcItems = std::vector<std::pair<std::string, std::string>>;

/// @return the model when the transform is one, and nothing besides.
std::optional<sarm::Model> modelOf(const KxfrXForm& transform);

/// The texts read back to the same numbers.
RpcItems rpcItems(const sarm::Rpc& rpc);

} // namespace product
