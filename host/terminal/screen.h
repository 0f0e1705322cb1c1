// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "host/terminal/picture.h"

namespace host {

// The whole terminal that standard output leads to, until it is destroyed. It gets back what it
// showed before, and its settings, however the program ends.
class Screen {
 public:
    Screen() = default;
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;
    virtual ~Screen() = default;

    // Whether there still is one: its window may have been closed without a word to the program.
    [[nodiscard]] virtual bool is_there() const = 0;

    // As it is now: a person may have changed it.
    [[nodiscard]] virtual ScreenSize size() = 0;

    // Whether it shows characters beyond ASCII.
    [[nodiscard]] virtual bool shows_blocks() const = 0;

    virtual void show(const Picture &picture) = 0;

    // The bell.
    virtual void ring() = 0;

    // The key that was pressed since the last call; 0 when none was.
    [[nodiscard]] virtual char take_key() = 0;
};

// Null where standard output is no terminal, or none that places characters freely, and in a build
// without ncurses.
std::unique_ptr<Screen> open_screen();

}  // namespace host
