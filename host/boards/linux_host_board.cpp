// SPDX-License-Identifier: MIT
#include "host/boards/linux_host_board.h"

#include <fmt/format.h>

#include <mutex>
#include <set>

#include "host/boards/linux_board.h"
#include "host/terminal/counted.h"
#include "host/terminal/failure.h"

namespace host {

namespace {

// Tells a person about a board's troubles. They come on the driver's worker thread too.
class TroubleDesk final : public BoardTroubles {
 public:
    explicit TroubleDesk(Console &console) : console_(console) {}

    void transfer_failed(std::string_view text) override {
        const std::lock_guard lock(mutex_);
        ++failed_;
        console_.detail(text);
    }

    // Each refusal is shown once, however often a poll runs into it.
    void refused(std::string_view text) override {
        const std::lock_guard lock(mutex_);
        ++refused_;
        if (shown_.size() < most_shown && shown_.emplace(text).second) {
            console_.error(text);
        }
    }

    void sum_up() {
        const std::lock_guard lock(mutex_);
        if (failed_ != 0) {
            console_.note(fmt::format("{} failed{}", counted(failed_, "transfer"),
                                      console_.verbose() ? "" : "; -v shows them"));
        }
        if (refused_ != 0) {
            throw Failure(ExitStatus::internal_error,
                          fmt::format("the board refused {} operations, as shown", refused_));
        }
    }

 private:
    static constexpr std::size_t most_shown = 20;

    std::mutex mutex_;
    Console &console_;
    unsigned failed_ = 0;
    unsigned refused_ = 0;
    std::set<std::string, std::less<>> shown_;
};

class LinuxHostBoard final : public HostBoard {
 public:
    LinuxHostBoard(const BoardOptions &options, Console &console)
        : uri_(options.uri),
          address_(parse_linux_address(uri_)),
          desk_(console),
          board_(address_, desk_) {
        if (!address_.gpio) {
            console.note("no gpio= in the board's URI: lines 6 and 7 of the LNB supply go nowhere");
        }
        attach(board_, options);
    }

    ~LinuxHostBoard() override { detach(); }

    [[nodiscard]] Json describe() const override {
        Json board{{"uri", uri_}, {"i2c_node", address_.i2c_node}};
        if (const std::string name = board_.adapter().name(); !name.empty()) {
            board["i2c_adapter"] = name;
        }
        if (address_.gpio) {
            board["gpio_node"] = address_.gpio->node;
            board["supply_enable_line"] = to_string(address_.gpio->supply_enable);
            board["supply_18v_line"] = to_string(address_.gpio->supply_18v);
        }
        return board;
    }

    [[nodiscard]] bool supply_outlives_program() const override { return !address_.gpio; }

    void finish() override {
        HostBoard::finish();
        desk_.sum_up();
    }

 private:
    std::string uri_;
    LinuxAddress address_;
    TroubleDesk desk_;
    LinuxBoard board_;
};

}  // namespace

std::unique_ptr<HostBoard> open_linux_board(const BoardOptions &options, Console &console) {
    return std::make_unique<LinuxHostBoard>(options, console);
}

}  // namespace host
