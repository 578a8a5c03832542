// SPDX-License-Identifier: MIT
#pragma once

#include "loader/plugin.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace product {

/// A value that is made once, when first asked for, and kept. If making it throws a loader::Error,
/// the error is kept and thrown again each time. Any thread may ask.
template <class Value>
class Kept {
public:
    /// @param make  returns the value; must not ask for this same one.
    /// @throws loader::Error as `make` did.
    template <class Make>
    const Value& get(const Make& make) const {
        const std::lock_guard lock(mutex_);
        if (!value_ && !error_)
            try {
                value_.emplace(make());
            } catch (const loader::Error& error) {
                error_.emplace(error);
            }
        if (error_)
            throw *error_;
        return *value_;
    }

private:
    mutable std::mutex mutex_;
    mutable std::optional<Value> value_;
    mutable std::optional<loader::Error> error_;
};

/// Values by name, each with the rules of Kept. Making one value does not block requests for
/// another.
template <class Value>
class KeptByName {
public:
    template <class Make>
    const Value& get(const std::string& name, const Make& make) const {
        const auto& kept = [&]() -> const Kept<Value>& {
            const std::lock_guard lock(mutex_);
            return values_[name];
        }();
        return kept.get(make);
    }

private:
    mutable std::mutex mutex_;
    mutable std::map<std::string, Kept<Value>> values_;
};

} // namespace product
