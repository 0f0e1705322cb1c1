// SPDX-License-Identifier: MIT
#include "host/boards/trace_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "host/terminal/failure.h"

namespace host {

namespace {

// Some days of polling; what is larger is no trace of ours.
constexpr std::size_t largest_trace = std::size_t{1} << 30U;

[[noreturn]] void refuse(const std::string &file, std::string_view problem) {
    throw Failure(ExitStatus::bad_input, fmt::format("trace {}: {}", file, problem));
}

std::string contents(const std::string &file) {
    struct Close {
        void operator()(std::FILE *stream) const { std::fclose(stream); }
    };
    const std::unique_ptr<std::FILE, Close> stream(std::fopen(file.c_str(), "re"));
    if (!stream) {
        refuse(file, std::strerror(errno));
    }
    std::string text;
    std::array<char, 65536> part{};
    for (std::size_t got = 0; (got = std::fread(part.data(), 1, part.size(), stream.get())) > 0;) {
        text.append(part.data(), got);
        if (const auto nul = text.find('\0', text.size() - got); nul != std::string::npos) {
            const auto end = text.begin() + static_cast<std::ptrdiff_t>(nul);
            refuse(fmt::format("{}:{}", file, std::count(text.begin(), end, '\n') + 1),
                   "a character 0; this is no text");
        }
        if (text.size() > largest_trace) {
            refuse(file, fmt::format("larger than {} MiB", largest_trace >> 20U));
        }
    }
    if (std::ferror(stream.get()) != 0) {
        refuse(file, std::strerror(errno));
    }
    return text;
}

}  // namespace

trace::Trace read_trace(const std::string &file) {
    trace::Trace trace;
    try {
        trace = trace::parse_trace(contents(file), file);
    } catch (const std::invalid_argument &problem) {
        throw Failure(ExitStatus::bad_input, problem.what());
    }
    if (trace.events.empty()) {
        refuse(file, "there is no event in it");
    }
    return trace;
}

}  // namespace host
