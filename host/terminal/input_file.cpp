// SPDX-License-Identifier: MIT
#include "host/terminal/input_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace host {

namespace {

[[noreturn]] void refuse_input(const std::string &name, std::string_view why) {
    throw InputError(fmt::format("{}: {}", name, why));
}

void require_regular(const std::string &name, const struct stat &status) {
    if (S_ISDIR(status.st_mode)) {
        refuse_input(name, "is a folder, not a file");
    }
    if (!S_ISREG(status.st_mode)) {
        refuse_input(name, "is no regular file; what comes from elsewhere must be saved first");
    }
}

}  // namespace

void require_regular_file(const std::string &name) {
    struct stat status {};
    if (::stat(name.c_str(), &status) != 0) {
        refuse_input(name, std::strerror(errno));
    }
    require_regular(name, status);
}

File open_input(const std::string &name) {
    require_regular_file(name);
    // Should another file have taken its place meanwhile, opening does not wait for anybody.
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        refuse_input(name, std::strerror(errno));
    }
    struct stat status {};
    File file(::fdopen(descriptor, "r"));
    if (!file || ::fstat(descriptor, &status) != 0) {
        refuse_input(name, std::strerror(errno));
    }
    require_regular(name, status);
    return file;
}

std::string read_input(const std::string &name, std::size_t most_bytes) {
    const File file = open_input(name);
    std::string text;
    std::array<char, 65536> part{};
    while (const std::size_t got = std::fread(part.data(), 1, part.size(), file.get())) {
        text.append(part.data(), got);
        if (text.size() > most_bytes) {
            refuse_input(name, fmt::format("is larger than {} MiB", most_bytes >> 20U));
        }
    }
    if (std::ferror(file.get()) != 0) {
        refuse_input(name, std::strerror(errno));
    }
    return text;
}

}  // namespace host
