// SPDX-License-Identifier: MIT
#include "host/boards/trace_file.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "host/terminal/failure.h"
#include "host/terminal/file.h"
#include "host/terminal/input_file.h"

namespace host {

namespace {

constexpr std::size_t part_size = 65536;

[[noreturn]] void refuse(const std::string &file, std::string_view problem) {
    throw Failure(ExitStatus::bad_input, fmt::format("trace {}: {}", file, problem));
}

// How a file begins that is sent by mail in the place of the trace in it, and what unpacks it.
struct Packing {
    std::string_view begin;
    std::string_view name;
    std::string_view program;
};

constexpr std::array packings{
    Packing{"\x1F\x8B", "gzip", "gunzip"}, Packing{"\3757zXZ", "xz", "unxz"},
    Packing{"BZh", "bzip2", "bunzip2"},    Packing{"\x28\xB5\x2F\xFD", "zstd", "unzstd"},
    Packing{"PK\x03\x04", "zip", "unzip"},
};

void refuse_packed(const std::string &file, std::string_view begin) {
    for (const Packing &packing : packings) {
        if (begin.starts_with(packing.begin)) {
            refuse(file, fmt::format("is packed by {}; unpack it with {} first", packing.name,
                                     packing.program));
        }
    }
}

File open_trace(const std::string &file) {
    try {
        return open_input(file);
    } catch (const InputError &problem) {
        throw InputError(fmt::format("trace {}", problem.what()));
    }
}

}  // namespace

class StoredText {
 public:
    explicit StoredText(const std::string &file) : file_(file), stream_(open_trace(file)) {
        read_through();
    }

    // The characters at a place, as many as there are and have room; nothing at the end.
    [[nodiscard]] std::string_view at(std::size_t place, std::array<char, part_size> &room) const {
        const std::size_t wanted = std::min(room.size(), size_ - place);
        const ssize_t got =
            pread(fileno(stream_.get()), room.data(), wanted, static_cast<off_t>(place));
        if (got < 0 || (got == 0 && wanted > 0)) {
            refuse(file_, got < 0 ? std::strerror(errno) : "became shorter while it was read");
        }
        return {room.data(), static_cast<std::size_t>(got)};
    }

 private:
    void read_through() {
        std::array<char, part_size> part{};
        std::ptrdiff_t lines = 0;
        while (const std::size_t got = std::fread(part.data(), 1, part.size(), stream_.get())) {
            const std::string_view text(part.data(), got);
            if (size_ == 0) {
                refuse_packed(file_, text);
            }
            const std::size_t nul = text.find('\0');
            lines += std::count(text.begin(), text.begin() + std::min(nul, got), '\n');
            if (nul != std::string_view::npos) {
                refuse(fmt::format("{}:{}", file_, lines + 1), "a character 0; this is no text");
            }
            size_ += got;
        }
        if (std::ferror(stream_.get()) != 0) {
            refuse(file_, std::strerror(errno));
        }
    }

    std::string file_;
    File stream_;
    std::size_t size_ = 0;
};

namespace {

class StoredLines final : public trace::LineReader {
 public:
    explicit StoredLines(std::shared_ptr<const StoredText> text) : text_(std::move(text)) {}

    std::optional<std::string_view> next() override {
        std::size_t end = ahead_.find('\n', begin_);
        while (end == std::string::npos) {
            const std::size_t searched = ahead_.size() - begin_;
            if (!read_on()) {
                break;
            }
            end = ahead_.find('\n', searched);
        }
        cut_off_ = end == std::string::npos;
        end = std::min(end, ahead_.size());
        if (cut_off_ && begin_ == end) {
            return std::nullopt;
        }
        const std::string_view line(ahead_.data() + begin_, end - begin_);
        begin_ = std::min(end + 1, ahead_.size());
        return line;
    }

    [[nodiscard]] bool cut_off() const override { return cut_off_; }

 private:
    bool read_on() {
        ahead_.erase(0, std::exchange(begin_, 0));
        const std::string_view part = text_->at(place_, room_);
        place_ += part.size();
        ahead_ += part;
        return !part.empty();
    }

    std::shared_ptr<const StoredText> text_;
    std::size_t place_ = 0;
    std::string ahead_;
    std::size_t begin_ = 0;  // in it, of the next line
    bool cut_off_ = false;
    std::array<char, part_size> room_{};
};

}  // namespace

TraceFile::TraceFile(const std::string &name, Console &console)
    : name_(name), text_(std::make_shared<StoredText>(name)) {
    try {
        trace::TraceReader reader = read();
        while (reader.next() != nullptr) {
            ++events_;
        }
        head_ = reader.head();
        last_line_ = reader.line();
        if (const auto cut_off = reader.cut_off_line()) {
            console.note(fmt::format(
                "{}:{}: the recording is cut off in this line, which is left out", name, *cut_off));
        }
    } catch (const std::invalid_argument &problem) {
        throw Failure(ExitStatus::bad_input, problem.what());
    }
    if (events_ == 0) {
        refuse(name, "there is no event in it");
    }
}

trace::TraceReader TraceFile::read() const { return {std::make_unique<StoredLines>(text_), name_}; }

trace::Recording TraceFile::recording() const {
    return [text = text_, name = name_] {
        return std::make_unique<trace::TraceReader>(std::make_unique<StoredLines>(text), name);
    };
}

}  // namespace host
