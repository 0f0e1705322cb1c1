// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace host {

// A text for the inside of an element or of an attribute in double quotes, in HTML and XML.
std::string html(std::string_view text);

}  // namespace host
