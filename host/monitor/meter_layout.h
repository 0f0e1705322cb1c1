// SPDX-License-Identifier: MIT
#pragma once

#include "host/monitor/meter.h"
#include "host/terminal/picture.h"

namespace host {

// What a terminal can show.
enum class Glyphs { blocks, ascii };

// A meter's face on a screen, made for 40 columns by 12 rows and anything larger. A smaller one
// shows the upper left part. Grades are told by words, and by colours besides.
Picture draw_meter(const MeterFace &face, ScreenSize size, Glyphs glyphs);

}  // namespace host
