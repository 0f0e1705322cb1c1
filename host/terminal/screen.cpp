// SPDX-License-Identifier: MIT
#include "host/terminal/screen.h"

// Wide characters, and no macros with the names of everyday functions.
#define NCURSES_WIDECHAR 1
#define NCURSES_NOMACROS 1
#include <curses.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "host/terminal/interrupt.h"

namespace host {

namespace {

// What a signal handler needs to give the terminal back.
struct Restoration {
    std::array<char, 256> text{};
    std::size_t length = 0;
    termios settings{};
};
Restoration restoration;

// A capability of the terminal without its padding, which real terminals need no more.
std::string capability(const char *name) {
    const char *const text = ::tigetstr(name);
    // The library says with -1 that there can be none of this name.
    // NOLINTNEXTLINE(performance-no-int-to-ptr,cppcoreguidelines-pro-type-cstyle-cast)
    if (text == nullptr || text == (char *)-1) {
        return "";
    }
    std::string whole(text);
    for (auto from = whole.find("$<"); from != std::string::npos; from = whole.find("$<")) {
        whole.erase(from, whole.find('>', from) - from + 1);
    }
    return whole;
}

void prepare_restoration() {
    const std::string text = capability("sgr0") + capability("cnorm") + capability("rmcup");
    restoration.length = std::min(text.size(), restoration.text.size());
    std::copy_n(text.begin(), restoration.length, restoration.text.begin());
}

// Only calls that are safe in a signal handler.
void restore_at_once() {
    [[maybe_unused]] const ssize_t written =
        ::write(STDOUT_FILENO, restoration.text.data(), restoration.length);
    ::tcsetattr(STDOUT_FILENO, TCSANOW, &restoration.settings);
}

short pair_of(Ink ink) {
    switch (ink) {
        case Ink::red:
            return 1;
        case Ink::yellow:
            return 2;
        case Ink::green:
            return 3;
        default:
            return 0;
    }
}

attr_t attributes_of(const Cell &cell) {
    attr_t attributes = cell.ink == Ink::faint ? A_DIM : A_NORMAL;
    if (cell.ink == Ink::strong) {
        attributes = A_BOLD;
    }
    return cell.reversed ? attributes | A_REVERSE : attributes;
}

// The character set of the environment, for as long as the screen is there.
class Locale {
 public:
    Locale() : before_(std::setlocale(LC_CTYPE, nullptr)) { std::setlocale(LC_CTYPE, ""); }
    Locale(const Locale &) = delete;
    Locale &operator=(const Locale &) = delete;
    ~Locale() { std::setlocale(LC_CTYPE, before_.c_str()); }

    [[nodiscard]] static bool is_utf8() {
        return std::string_view(::nl_langinfo(CODESET)) == "UTF-8";
    }

 private:
    std::string before_;
};

// The size is asked for, so the signal that tells of a change must not interrupt the driver.
class IgnoredResizing {
 public:
    IgnoredResizing() : before_(std::signal(SIGWINCH, SIG_IGN)) {}
    IgnoredResizing(const IgnoredResizing &) = delete;
    IgnoredResizing &operator=(const IgnoredResizing &) = delete;
    ~IgnoredResizing() { std::signal(SIGWINCH, before_); }

 private:
    void (*before_)(int);
};

class CursesScreen final : public Screen {
 public:
    CursesScreen() {
        ::tcgetattr(STDOUT_FILENO, &restoration.settings);
        terminal_ = ::newterm(nullptr, stdout, stdin);
        if (terminal_ == nullptr) {
            return;
        }
        prepare_restoration();
        leaving_.emplace(restore_at_once);
        ::cbreak();
        ::noecho();
        ::nodelay(stdscr, TRUE);
        ::curs_set(0);
        coloured_ = ::has_colors() && std::getenv("NO_COLOR") == nullptr;
        if (coloured_) {
            ::start_color();
            ::use_default_colors();
            ::init_pair(pair_of(Ink::red), COLOR_RED, -1);
            ::init_pair(pair_of(Ink::yellow), COLOR_YELLOW, -1);
            ::init_pair(pair_of(Ink::green), COLOR_GREEN, -1);
        }
    }

    ~CursesScreen() override {
        if (terminal_ != nullptr) {
            ::endwin();
            ::delscreen(terminal_);
        }
    }

    [[nodiscard]] bool is_usable() const {
        return terminal_ != nullptr && !capability("cup").empty();
    }

    [[nodiscard]] bool is_there() const override { return ::isatty(STDOUT_FILENO) != 0; }

    [[nodiscard]] ScreenSize size() override {
        winsize size{};
        if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0 &&
            ::is_term_resized(size.ws_row, size.ws_col)) {
            ::resizeterm(size.ws_row, size.ws_col);
            ::clearok(curscr, TRUE);
        }
        return {::getmaxx(stdscr), ::getmaxy(stdscr)};
    }

    [[nodiscard]] bool shows_blocks() const override { return Locale::is_utf8(); }

    void show(const Picture &picture) override {
        const ScreenSize shown = size();
        ::werase(stdscr);
        for (int row = 0; row < std::min(shown.rows, picture.size().rows); ++row) {
            for (int column = 0; column < std::min(shown.columns, picture.size().columns);
                 ++column) {
                put(row, column, picture.at(row, column));
            }
        }
        ::wrefresh(stdscr);
    }

    void ring() override { ::beep(); }

    [[nodiscard]] char take_key() override {
        const int key = ::wgetch(stdscr);
        return key > 0 && key < 0x80 ? static_cast<char>(key) : '\0';
    }

 private:
    void put(int row, int column, const Cell &cell) const {
        const bool can_be_shown = cell.glyph < 0x7F || Locale::is_utf8();
        const std::array<wchar_t, 2> text{can_be_shown ? static_cast<wchar_t>(cell.glyph) : L'?',
                                          L'\0'};
        cchar_t character{};
        ::setcchar(&character, text.data(), attributes_of(cell),
                   coloured_ ? pair_of(cell.ink) : short{0}, nullptr);
        ::mvwadd_wch(stdscr, row, column, &character);
    }

    Locale locale_;
    IgnoredResizing resizing_;
    SCREEN *terminal_ = nullptr;
    std::optional<LeaveHook> leaving_;
    bool coloured_ = false;
};

}  // namespace

std::unique_ptr<Screen> open_screen() {
    if (::isatty(STDOUT_FILENO) == 0) {
        return nullptr;
    }
    auto screen = std::make_unique<CursesScreen>();
    return screen->is_usable() ? std::move(screen) : nullptr;
}

}  // namespace host
