// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>

#include "ds3000/chip/ds3000_context.h"

namespace tests {

// Context fields by name, with their values.
using Fields = std::map<std::string, std::int64_t>;

// A field's value; of a pointer or a function, its address.
template <typename Value>
std::int64_t field_value(Value value) {
    if constexpr (std::is_pointer_v<Value>) {
        return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(value));
    } else {
        return static_cast<std::int64_t>(value);
    }
}

// All of a context. The ring's readings are strength_ring[0] to strength_ring[15].
Fields fields_of(const struct ds3000_context &context);

// Those fields, and more or other ones.
Fields with(Fields fields, const Fields &more);

}  // namespace tests
