// SPDX-License-Identifier: MIT
#include "kprj/proj_session.h"

#include <utility>

namespace kprj {

Session::Session() : context_(proj_context_create()) {
    if (!context_)
        throw std::bad_alloc();
    proj_log_func(context(), this, [](void* self, int, const char* message) {
        static_cast<Session*>(self)->said_ = message;
    });
}

void Session::fail(const std::string& what) {
    const std::string reason = std::exchange(said_, {});
    throw std::runtime_error(reason.empty() ? what : what + ": " + reason);
}

Session& session() {
    static thread_local Session own;
    return own;
}

} // namespace kprj
