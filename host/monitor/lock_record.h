// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace host {

// What is known of a lock that is polled: since when it is there or not, and how often it went.
// Times are milliseconds since the watch began.
class LockRecord {
 public:
    void polled(bool locked, std::uint64_t time_ms);

    [[nodiscard]] bool locked() const { return locked_; }
    [[nodiscard]] bool ever_locked() const { return locked_ || losses_ > 0; }

    // When the lock came, or went; 0 while there was none yet.
    [[nodiscard]] std::uint64_t since_ms() const { return since_ms_; }
    [[nodiscard]] unsigned losses() const { return losses_; }

    // For how long there was lock, all told.
    [[nodiscard]] std::uint64_t locked_ms() const;

    // A time without lock behind one with it.
    struct Gap {
        std::uint64_t from_ms = 0;
        std::uint64_t ms = 0;  // 0: there was none
    };

    // The longest until now; of several the first.
    [[nodiscard]] Gap longest_gap() const;

    // A search that has not found the carrier in this time begins anew.
    static constexpr std::uint64_t longest_search_ms = 3'000;

    // Whether the channel is to be set up again; the search that runs then begins with restarted().
    [[nodiscard]] bool wants_restart(std::uint64_t time_ms) const;
    void restarted(std::uint64_t time_ms);
    [[nodiscard]] unsigned restarts() const { return restarts_; }

 private:
    [[nodiscard]] Gap longer_one(std::uint64_t until_ms) const;

    bool locked_ = false;
    std::uint64_t since_ms_ = 0;
    std::uint64_t polled_ms_ = 0;
    std::uint64_t search_began_ms_ = 0;
    std::uint64_t locks_before_ms_ = 0;  // how long those lasted that are over
    Gap longest_before_;                 // of those that are over
    unsigned losses_ = 0;
    unsigned restarts_ = 0;
};

}  // namespace host
