// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/tables/table_file.h"

namespace host {

// A satellite of a satellites.xml, its transponders as a DVBv5 table has them.
struct XmlSatellite {
    std::string name;
    std::vector<TableGroup> groups;
};

// Read the satellite that is asked for by its name or its place, 19.2E; an empty wish takes the
// first. `file` stands for the file in messages. Throws TableError with file and line: the text is
// no satellites.xml, it has no such satellite, or this build cannot read it.
XmlSatellite read_satellites_xml(std::string_view text, std::string_view file,
                                 const std::string &wish);

}  // namespace host
