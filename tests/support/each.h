// SPDX-License-Identifier: MIT
#pragma once

namespace tests {

// Call check with every combination of one value from each of the lists.
template <typename Check>
void each(const Check &check) {
    check();
}

template <typename Check, typename List, typename... Lists>
void each(const Check &check, const List &list, const Lists &...others) {
    for (const auto &value : list) {
        each([&](const auto &...rest) { check(value, rest...); }, others...);
    }
}

}  // namespace tests
