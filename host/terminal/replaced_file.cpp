// SPDX-License-Identifier: MIT
#include "host/terminal/replaced_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>

namespace host {

namespace {

constexpr unsigned usual_mode = 0666;
constexpr unsigned permissions = 07777;

bool is_same_file(const struct stat &a, const struct stat &b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// The standard stream that is this very file, where one is.
std::optional<int> own_stream(const struct stat &status) {
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat own {};
        if (::fstat(stream, &own) == 0 && is_same_file(own, status)) {
            return stream;
        }
    }
    return std::nullopt;
}

std::string title_of(std::string_view title, const std::string &name) {
    return title.empty() ? name : fmt::format("{} {}", title, name);
}

}  // namespace

std::string file_behind(const std::string &name) {
    // As many as the system follows.
    constexpr int most_links = 40;
    std::filesystem::path file = name;
    std::error_code error;
    for (int i = 0; i < most_links && std::filesystem::is_symlink(file, error); ++i) {
        const std::filesystem::path next = std::filesystem::read_symlink(file, error);
        if (error) {
            break;
        }
        file = file.parent_path() / next;
    }
    return file.string();
}

std::string part_beside(const std::string &file) { return file + ".part"; }

ReplacedFile::ReplacedFile(std::string_view title, const std::string &name)
    : title_(title_of(title, name)), target_(file_behind(name)) {
    struct stat status {};
    const bool there = ::stat(name.c_str(), &status) == 0;
    if (!there && errno != ENOENT) {
        fail(errno);
    }
    if (const auto stream = there ? own_stream(status) : std::nullopt) {
        use_stream(*stream);
    } else if (there && !S_ISREG(status.st_mode)) {
        file_.reset(std::fopen(target_.c_str(), "we"));
    } else if (target_.empty() || (there && ::access(target_.c_str(), W_OK) != 0)) {
        fail(errno);
    } else {
        open_beside();
        if (file_ && there) {
            ::fchmod(::fileno(file_.get()), status.st_mode & permissions);
        }
    }
    if (!file_) {
        fail(errno);
    }
}

ReplacedFile::ReplacedFile() : title_("standard output") {
    use_stream(STDOUT_FILENO);
    if (!file_) {
        fail(errno);
    }
}

ReplacedFile ReplacedFile::standard_output() { return {}; }

void ReplacedFile::use_stream(int stream) {
    to_standard_output_ = stream == STDOUT_FILENO;
    file_.reset(::fdopen(::fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1), "w"));
}

void ReplacedFile::open_beside() {
    const std::string part = part_beside(target_);
    struct stat status {};
    if (::lstat(part.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        title_ = part;
        fail(EEXIST);
    }
    const int descriptor =
        ::open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, usual_mode);
    if (descriptor >= 0) {
        part_ = part;
        file_.reset(::fdopen(descriptor, "w"));
    }
}

ReplacedFile::~ReplacedFile() {
    if (!part_.empty() && empty_) {
        ::unlink(part_.c_str());
    }
}

void ReplacedFile::write(std::string_view text) {
    if (text.empty() || error_ != 0) {
        return;
    }
    empty_ = false;
    const auto call = call_that_may_block();
    // A line that a terminal does not take counts as written: it did fit into the buffer.
    if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size() ||
        std::ferror(file_.get()) != 0) {
        remember_error();
    }
}

void ReplacedFile::flush() {
    if (error_ != 0) {
        return;
    }
    const auto call = call_that_may_block();
    if (std::fflush(file_.get()) != 0) {
        remember_error();
    }
}

// A pipe that is full waits for its reader, which is no matter for the thread of a driver.
std::optional<BlockingCall> ReplacedFile::call_that_may_block() const {
    return part_.empty() ? std::optional<BlockingCall>(std::in_place) : std::nullopt;
}

void ReplacedFile::remember_error() { error_ = error_ == 0 ? errno : error_; }

void ReplacedFile::check() const {
    if (error_ != 0) {
        fail(error_);
    }
}

void ReplacedFile::publish() {
    flush();
    check();
    if (std::fclose(file_.release()) != 0) {
        fail(errno);
    }
    if (!part_.empty()) {
        if (std::rename(part_.c_str(), target_.c_str()) != 0) {
            fail(errno);
        }
        part_.clear();
    }
}

void ReplacedFile::fail(int error) const {
    const std::string rest =
        part_.empty() || empty_ ? "" : fmt::format("; what came before is in {}", part_);
    const std::string message =
        fmt::format("{} cannot be written: {}{}", title_, std::strerror(error), rest);
    if (error == EINTR) {
        throw WritingStopped(fmt::format("cancelled before {} could be written", title_));
    }
    if (error == EPIPE && to_standard_output_) {
        throw ReaderGone(message);
    }
    throw OutputError(message);
}

}  // namespace host
