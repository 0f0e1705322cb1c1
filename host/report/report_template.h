// SPDX-License-Identifier: MIT
#pragma once

namespace host {

// report_page.html as the build read it.
extern const char *const report_template;

}  // namespace host
