// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <memory>

namespace host {

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

// A file that is closed with its owner.
using File = std::unique_ptr<std::FILE, CloseFile>;

}  // namespace host
