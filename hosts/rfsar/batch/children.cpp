// SPDX-License-Identifier: MIT
#include "batch/children.h"

#include "loader/plugin.h"
#include "output/console.h"
#include "output/interruption.h"
#include "output/ordered_work.h"
#include "output/thread_share.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <list>
#include <sstream>
#include <utility>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::array waitedFor = {SIGCHLD, SIGINT, SIGTERM, SIGHUP};
constexpr std::uint64_t mebibyte = 1 << 20;
/// Memory that a process may have above its limit between two checks.
constexpr std::uint64_t overshootMiB = 512;
constexpr int keptBytes = 1 << 20; ///< of what a child writes

/// Keeps signals for sigtimedwait.
class SignalsKept {
public:
    SignalsKept() {
        sigset_t set;
        sigemptyset(&set);
        for (const int signal : waitedFor)
            sigaddset(&set, signal);
        sigprocmask(SIG_BLOCK, &set, &before_);
        set_ = set;
    }
    ~SignalsKept() { restore(); }
    SignalsKept(const SignalsKept&) = delete;
    SignalsKept& operator=(const SignalsKept&) = delete;

    void restore() const { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    /// @return the signal that came, 0 after the time.
    int wait(std::chrono::milliseconds time) const {
        const timespec limit{time.count() / 1000, time.count() % 1000 * 1000000};
        const int signal = sigtimedwait(&set_, nullptr, &limit);
        return signal > 0 ? signal : 0;
    }

private:
    sigset_t set_{}, before_{};
};

/// A file in memory that a child writes to.
class Heard {
public:
    Heard() : file_(memfd_create("heard", MFD_CLOEXEC)) {
        if (file_ < 0)
            throw loader::Error(std::string("a child process: ") + std::strerror(errno));
    }
    Heard(Heard&& other) noexcept : file_(std::exchange(other.file_, -1)) {}
    Heard(const Heard&) = delete;
    Heard& operator=(const Heard&) = delete;
    ~Heard() {
        if (file_ >= 0)
            close(file_);
    }

    int file() const { return file_; }
    std::string text() const {
        const off_t size = lseek(file_, 0, SEEK_END);
        std::string text(static_cast<std::size_t>(std::min<off_t>(size, keptBytes)), '\0');
        const ssize_t got = pread(file_, text.data(), text.size(), 0);
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        return text;
    }

private:
    int file_;
};

/// @return one of the figures of /proc/<process>/statm, in MiB: 1 resident, 5 data.
std::uint64_t memoryMiB(const std::string& process, int figure) {
    std::ifstream stream("/proc/" + process + "/statm");
    std::uint64_t pages = 0;
    for (int i = 0; i <= figure; ++i)
        stream >> pages;
    return stream ? pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) / mebibyte : 0;
}

void limit(int resource, rlim_t value) {
    const rlimit both{value, value};
    setrlimit(resource, &both);
}

struct Child {
    std::size_t item;
    pid_t process;
    Heard out, err;
    Clock::time_point begun = Clock::now();
    ChildOutcome::End end = ChildOutcome::End::exited;
};

class Crew {
public:
    explicit Crew(const ChildWork& work) : work_(work) {}
    ~Crew() { endAll(); }
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    void run() {
        while (next_ < work_.items || !children_.empty()) {
            while (next_ < work_.items && children_.size() < work_.atOnce)
                begin(next_++);
            const bool watched = work_.limits.timeoutS > 0 || work_.limits.memoryMiB > 0;
            const int signal = signals_.wait(std::chrono::milliseconds(watched ? 20 : 500));
            if (signal != 0 && signal != SIGCHLD) {
                endAll();
                signals_.restore();
                throw interruption::Interrupted{signal};
            }
            if (watched)
                enforce();
            reap();
        }
    }

private:
    void begin(std::size_t item) {
        Heard out, err;
        std::cout.flush(); // or the child would write it again
        std::fflush(nullptr);
        const pid_t parent = getpid();
        const pid_t process = fork();
        if (process < 0)
            throw loader::Error(std::string("no child process can be started: ") +
                                std::strerror(errno));
        if (process == 0)
            live(item, parent, out.file(), err.file());
        setpgid(process, process);
        children_.push_back({item, process, std::move(out), std::move(err)});
    }

    [[noreturn]] void live(std::size_t item, pid_t parent, int out, int err) const {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
            _exit(1);
        setpgid(0, 0);
        signals_.restore();
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        limit(RLIMIT_CORE, 0);
        if (work_.limits.memoryMiB > 0)
            limit(RLIMIT_DATA,
                  (memoryMiB("self", 5) + work_.limits.memoryMiB + overshootMiB) * mebibyte);
        useThreads((machineThreads() + work_.atOnce - 1) / work_.atOnce);
        int status = 1;
        try {
            status = work_.run(item);
        } catch (const std::bad_alloc&) {
            console::error("not enough memory");
        } catch (const std::exception& error) {
            console::error(error.what());
        } catch (const interruption::Interrupted&) {
        }
        std::cout.flush();
        std::fflush(nullptr);
        _exit(status);
    }

    void enforce() {
        for (Child& child : children_) {
            const std::chrono::duration<double> seconds = Clock::now() - child.begun;
            if (work_.limits.timeoutS > 0 && seconds.count() > work_.limits.timeoutS)
                child.end = ChildOutcome::End::timedOut;
            else if (work_.limits.memoryMiB > 0 &&
                     memoryMiB(std::to_string(child.process), 1) > work_.limits.memoryMiB)
                child.end = ChildOutcome::End::tookTooMuchMemory;
            else
                continue;
            kill(-child.process, SIGKILL);
        }
    }

    void reap() {
        for (auto child = children_.begin(); child != children_.end();) {
            int status = 0;
            rusage usage{};
            if (wait4(child->process, &status, WNOHANG, &usage) == 0) {
                ++child;
                continue;
            }
            kill(-child->process, SIGKILL); // processes that it may have started
            ChildOutcome outcome;
            outcome.end = child->end;
            outcome.process = child->process;
            if (WIFEXITED(status)) {
                outcome.status = WEXITSTATUS(status);
                outcome.end = ChildOutcome::End::exited; // before it is killed
            } else {
                outcome.status = WTERMSIG(status);
                if (outcome.end == ChildOutcome::End::exited)
                    outcome.end = ChildOutcome::End::killed;
            }
            outcome.out = child->out.text();
            outcome.err = child->err.text();
            outcome.seconds = std::chrono::duration<double>(Clock::now() - child->begun).count();
            outcome.peakMemoryMiB = static_cast<std::uint64_t>(usage.ru_maxrss) / 1024;
            const std::size_t item = child->item;
            child = children_.erase(child);
            work_.ended(item, std::move(outcome));
        }
    }

    /// Gives children time to clean up, then kills them.
    void endAll() {
        for (const Child& child : children_)
            kill(child.process, SIGTERM);
        const auto patience = Clock::now() + std::chrono::seconds(2);
        while (!children_.empty() && Clock::now() < patience) {
            children_.remove_if(
                [](const Child& child) { return waitpid(child.process, nullptr, WNOHANG) != 0; });
            if (!children_.empty())
                usleep(5000);
        }
        for (const Child& child : children_) {
            kill(-child.process, SIGKILL);
            waitpid(child.process, nullptr, 0);
        }
        children_.clear();
    }

    const ChildWork& work_;
    SignalsKept signals_;
    std::list<Child> children_;
    std::size_t next_ = 0;
};

std::string shortNumber(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

} // namespace

void runInChildren(const ChildWork& work) {
    Crew(work).run();
}

std::string describe(const ChildOutcome& outcome, const ChildLimits& limits) {
    switch (outcome.end) {
    case ChildOutcome::End::timedOut:
        return "not done after " + shortNumber(limits.timeoutS) + " s (--timeout)";
    case ChildOutcome::End::tookTooMuchMemory:
        return "takes more than " + std::to_string(limits.memoryMiB) + " MiB of memory (--memory)";
    case ChildOutcome::End::killed:
        return std::string("the process ended by a signal: ") + strsignal(outcome.status);
    case ChildOutcome::End::exited:
        break;
    }
    return "";
}
