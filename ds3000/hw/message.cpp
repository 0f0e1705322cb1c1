// SPDX-License-Identifier: MIT
#include "ds3000/hw/message.h"

#include <cstdarg>
#include <cstdio>

namespace ds3000 {

void message(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fputc('\n', stderr);
}

}  // namespace ds3000
