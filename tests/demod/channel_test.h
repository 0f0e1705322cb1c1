// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/channel_test.h"
