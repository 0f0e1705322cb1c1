// SPDX-License-Identifier: MIT
#include "host/terminal/stderr_capture.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <system_error>
#include <vector>

#include "host/terminal/interrupt.h"

// A sanitizer's report is for the person who started the program.
extern "C" __attribute__((weak)) void __sanitizer_set_report_fd(void *descriptor);

namespace host {

namespace {

// What the signal handler needs; -1 outside a capture.
volatile std::sig_atomic_t memory_in_force = -1;
volatile std::sig_atomic_t original_in_force = -1;

// How much of the capture has been taken. The memory is never cut down to what is left: another
// thread may write just then.
std::atomic<long> taken{0};
static_assert(std::atomic<long>::is_always_lock_free, "the signal handler reads it");

// Who wants to hear the lines, how much of the capture they have heard, and the beginning of a line
// that is not whole yet. A driver's threads may write and hand over at the same time.
std::recursive_mutex listening;
std::vector<StandardErrorCapture::Listener *> listeners;
off_t heard = 0;
std::string line_begun;

constexpr std::array<int, 3> deadly_signals{SIGABRT, SIGSEGV, SIGBUS};

// Only calls that are safe in a signal handler.
void release_capture(int signal) {
    run_leave_hook();
    std::array<char, 512> part{};
    off_t place = taken;
    for (ssize_t got = 0; (got = ::pread(memory_in_force, part.data(), part.size(), place)) > 0;) {
        place += got;
        if (::write(original_in_force, part.data(), static_cast<std::size_t>(got)) < 0) {
            break;
        }
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

int checked(int result, const char *what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

void report_sanitizers_to(int descriptor) {
    if (__sanitizer_set_report_fd != nullptr) {
        // The sanitizers' interface takes the number as a pointer.
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        __sanitizer_set_report_fd(reinterpret_cast<void *>(std::intptr_t{descriptor}));
    }
}

}  // namespace

StandardErrorCapture::Listener::Listener(std::function<void(std::string_view line)> hear)
    : hear_(std::move(hear)) {
    const std::lock_guard lock(listening);
    listeners.push_back(this);
}

StandardErrorCapture::Listener::~Listener() {
    const std::lock_guard lock(listening);
    listeners.erase(std::find(listeners.begin(), listeners.end(), this));
}

void StandardErrorCapture::hand_over() {
    const std::lock_guard lock(listening);
    if (listeners.empty() || memory_in_force < 0) {
        return;
    }
    std::array<char, 4096> part{};
    for (ssize_t got = 0; (got = ::pread(memory_in_force, part.data(), part.size(), heard)) > 0;) {
        heard += got;
        line_begun.append(part.data(), static_cast<std::size_t>(got));
    }
    for (auto end = line_begun.find('\n'); end != std::string::npos; end = line_begun.find('\n')) {
        const std::string line = line_begun.substr(0, end);
        line_begun.erase(0, end + 1);
        for (const Listener *listener : listeners) {
            listener->hear_(line);
        }
    }
}

StandardErrorCapture::StandardErrorCapture() {
    std::fflush(stderr);
    memory_ = checked(::memfd_create("stderr", MFD_CLOEXEC), "capturing standard error");
    original_ = checked(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3), "capturing standard error");
    {
        const std::lock_guard lock(listening);
        taken = 0;
        heard = 0;
        line_begun.clear();
    }
    checked(::dup2(memory_, STDERR_FILENO), "capturing standard error");
    report_sanitizers_to(original_);
    memory_in_force = memory_;
    original_in_force = original_;
    for (const int signal : deadly_signals) {
        std::signal(signal, release_capture);
    }
}

StandardErrorCapture::~StandardErrorCapture() {
    for (const int signal : deadly_signals) {
        std::signal(signal, SIG_DFL);
    }
    std::fflush(stderr);
    hand_over();
    ::dup2(original_, STDERR_FILENO);
    report_sanitizers_to(STDERR_FILENO);
    memory_in_force = -1;
    original_in_force = -1;
    ::close(original_);
    ::close(memory_);
}

std::string StandardErrorCapture::take() const {
    std::fflush(stderr);
    const std::lock_guard lock(listening);
    std::string text;
    std::array<char, 4096> part{};
    off_t place = taken;
    for (ssize_t got = 0; (got = ::pread(memory_, part.data(), part.size(), place)) > 0;) {
        text.append(part.data(), static_cast<std::size_t>(got));
        place += got;
    }
    hand_over();
    taken = static_cast<long>(place);
    return text;
}

}  // namespace host
