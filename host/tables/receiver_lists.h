// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/tables/table_writer.h"

namespace host {

// The forms in which receivers read lists of transponders.
enum class ListForm { dvbv5, satellites_xml, vdr, m3u };

// The form that a file's suffix stands for; absent where it stands for none.
std::optional<ListForm> list_form_of(std::string_view file);

// "a DVBv5 table", "a satellites.xml".
std::string to_string(ListForm form);

// Whether rows of such a list say the port of the switch.
bool tells_switch_port(ListForm form);

// Where a satellite stands, in tenths of a degree east, by the end of its name: Astra-19.2E,
// "Hispasat 30.0W"; absent where the name does not say.
std::optional<int> orbital_position(std::string_view satellite);

// The text of a list of one satellite's rows, whose name may be empty.
std::string list_text(ListForm form, const std::string &satellite,
                      const std::vector<WrittenRow> &rows);

}  // namespace host
