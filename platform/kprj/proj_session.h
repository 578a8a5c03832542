// SPDX-License-Identifier: MIT
#pragma once

#include <proj.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>

/// Owners for PROJ's objects, and its messages as exceptions. For this folder only.
namespace kprj {

struct PjDeleter {
    void operator()(PJ* object) const { proj_destroy(object); }
    void operator()(PJ_CONTEXT* context) const { proj_context_destroy(context); }
    void operator()(PJ_OBJ_LIST* list) const { proj_list_destroy(list); }
};
using PjPtr = std::unique_ptr<PJ, PjDeleter>;
using PjContextPtr = std::unique_ptr<PJ_CONTEXT, PjDeleter>;
using PjListPtr = std::unique_ptr<PJ_OBJ_LIST, PjDeleter>;

/// A PROJ context that prints nothing and keeps PROJ's last message. One thread at a time.
class Session {
public:
    Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    PJ_CONTEXT* context() const { return context_.get(); }
    /// Forgets PROJ's message. @throws std::runtime_error "what: PROJ's message".
    [[noreturn]] void fail(const std::string& what);

private:
    std::string said_;
    PjContextPtr context_;
};

/// This thread's own session; making one takes about a millisecond.
Session& session();

} // namespace kprj
