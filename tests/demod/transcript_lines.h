// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/transcript_text.h"
