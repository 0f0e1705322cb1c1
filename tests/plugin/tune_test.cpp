// SPDX-License-Identifier: MIT
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/plugin/plugin_test.h"
#include "tests/support/chip_test.h"

namespace tests {
namespace {

class PluginTuneTest : public PluginTest {
 protected:
    // A request that is refused must leave no trace but its log line and its messages.
    void expect_refusal(const tune_request &request, const std::string &message) {
        Tuner *tuner = tuned();
        const std::string before = record_bytes(tuner);

        EXPECT_EQ(tuner->tune(tuner, &request), 0U);

        EXPECT_EQ(recorded(), "log Tuner::tune()\n");
        EXPECT_EQ(record_bytes(tuner), before);
        EXPECT_EQ(messages(), text(tuner, "tune_ds3000_driver(%p)\n") + message);
    }

    // Accept the request on a fresh Tuner and return the record afterwards.
    const ds3000_driver &record_of(const tune_request &request) {
        Tuner *tuner = ready();
        EXPECT_EQ(tuner->tune(tuner, &request), 1U);
        return *tuner->driver;
    }

    static std::string record_bytes(const Tuner *tuner) {
        std::string bytes(sizeof *tuner->driver, '\0');
        std::memcpy(bytes.data(), tuner->driver, bytes.size());
        return bytes;
    }

    static tune_request single_oscillator(std::uint32_t frequency, std::uint32_t lof) {
        tune_request request = universal_lnb_request();
        request.frequency = frequency;
        request.lof_low = lof;
        request.lof_high = 0;
        request.lof_switch = 0;
        return request;
    }

    // The bytes written to the demodulator's DiSEqC message buffer.
    [[nodiscard]] std::vector<int> diseqc_message() const {
        std::vector<int> bytes;
        for (const trace::Event &event : events()) {
            if (event.kind == trace::EventKind::write && event.address == 0xD0 &&
                event.sent[0] >= 0xA3 && event.sent[0] <= 0xAA) {
                bytes.push_back(event.sent[1]);
            }
        }
        return bytes;
    }
};

constexpr const char *universal_lnb_line = "low: 9750000 switch: 11700000 high: 10600000\n";

TEST_F(PluginTuneTest, a_dvb_s_tune_drives_supply_switch_tone_and_connect_in_order) {
    Tuner *tuner = ready();
    tune_request request = universal_lnb_request();
    request.switch_pos = 2;

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);

    expect_golden("plugin_tune_dvbs_port_2.txt", recorded());
    EXPECT_EQ(messages(), text(tuner,
                               "tune_ds3000_driver(%p)\n"
                               "ds3000: SYS_DVBS\n"
                               "low: 9750000 switch: 11700000 high: 10600000\n"
                               "ds3000: idle_thread(%p) is on\n"
                               "mt_do_tune(%p)\n"
                               "tune to 1100 sr(27500) volt(13) hiband(1) switch_pos(2) at 110\n\n"
                               "ds3000: idle_thread(%p) is off\n"));
}

TEST_F(PluginTuneTest, a_dvb_s2_tune_without_a_switch_sends_no_message) {
    board_.identify_as(RegisterBoard::Chip::ds300x);
    board_.has_lnbh23 = false;
    Tuner *tuner = ready();
    tune_request request = universal_lnb_request();
    request.frequency = 11'260'000;
    request.symbol_rate = 3'000'000;
    request.polarisation = 2;
    request.delivery_system = 6;

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);

    expect_golden("plugin_tune_dvbs2_low_rate.txt", recorded());
    EXPECT_EQ(messages(), text(tuner, std::string("tune_ds3000_driver(%p)\n"
                                                  "ds3000: SYS_DVBS2\n") +
                                          universal_lnb_line +
                                          "ds3000: idle_thread(%p) is on\n"
                                          "mt_do_tune(%p)\n"
                                          "tune to 1510 sr(3000) volt(18) hiband(0) switch_pos(0) "
                                          "at 110\n\n"
                                          "ds3000: idle_thread(%p) is off\n"));
}

TEST_F(PluginTuneTest, an_accepted_tune_stores_the_channel) {
    tune_request request = universal_lnb_request();
    request.frequency = 12'345'678;
    request.symbol_rate = 29'999'999;
    request.polarisation = 0;
    request.delivery_system = 6;
    request.switch_pos = 4;

    const ds3000_driver &record = record_of(request);

    EXPECT_EQ(record.tuned_freq_mhz, 1745U);
    EXPECT_EQ(record.tuned_symbol_rate_ksps, 29'999U);
    EXPECT_EQ(record.tuned_standard, 5U);
    EXPECT_EQ(record.voltage_18v, 1U);
    EXPECT_EQ(record.hiband, 1U);
    EXPECT_EQ(record.switch_pos, 4U);
    EXPECT_EQ(record.drop_timeout_ms, 4000U);
    EXPECT_EQ(record.retune_count, 0U);
    EXPECT_EQ(record.last_lock_ms, now_ms());
    EXPECT_EQ(record.last_unlock_ms, 0U);
    EXPECT_EQ(record.lock_status, 0U);
    EXPECT_EQ(record.idle, 0U);
    EXPECT_EQ(record.idle_request, 0U);
    EXPECT_EQ(record.thread_running, 1U);
}

TEST_F(PluginTuneTest, a_frequency_at_the_band_switch_is_in_the_high_band) {
    const ds3000_driver &record = record_of(universal_lnb_request());

    EXPECT_EQ(record.tuned_freq_mhz, 1100U);
    EXPECT_EQ(record.hiband, 1U);
}

TEST_F(PluginTuneTest, a_frequency_below_the_band_switch_is_in_the_low_band) {
    tune_request request = universal_lnb_request();
    request.frequency = 11'699'999;

    const ds3000_driver &record = record_of(request);

    EXPECT_EQ(record.tuned_freq_mhz, 1949U);
    EXPECT_EQ(record.hiband, 0U);
}

TEST_F(PluginTuneTest, the_band_switch_is_compared_unsigned) {
    tune_request request = universal_lnb_request();
    request.frequency = 11'000'000;
    request.lof_high = 9'900'000;
    request.lof_switch = 0x8000'0000;

    const ds3000_driver &record = record_of(request);

    EXPECT_EQ(record.tuned_freq_mhz, 1250U);
    EXPECT_EQ(record.hiband, 0U);
}

TEST_F(PluginTuneTest, an_oscillator_above_the_downlink_gives_the_same_if) {
    const ds3000_driver &record = record_of(single_oscillator(3'800'000, 5'150'000));

    EXPECT_EQ(record.tuned_freq_mhz, 1350U);
    EXPECT_EQ(record.hiband, 0U);
}

TEST_F(PluginTuneTest, oscillators_above_the_downlink_serve_both_bands) {
    tune_request request = universal_lnb_request();
    request.frequency = 11'000'000;
    request.lof_low = 12'200'000;
    EXPECT_EQ(record_of(request).tuned_freq_mhz, 1200U);

    request.frequency = 11'700'000;
    request.lof_high = 13'000'000;
    EXPECT_EQ(record_of(request).tuned_freq_mhz, 1300U);
}

TEST_F(PluginTuneTest, the_difference_to_the_oscillator_is_taken_in_32_bits) {
    const ds3000_driver &record = record_of(single_oscillator(500'000, 0U - 600'000U));

    EXPECT_EQ(record.tuned_freq_mhz, 1100U);
}

TEST_F(PluginTuneTest, a_single_oscillator_ignores_polarisation_switch_and_tone_mode) {
    tune_request request = single_oscillator(11'000'000, 9'750'000);
    request.polarisation = 2;
    request.lof_switch = 10'000'000;
    request.tone_mode = 1;

    const ds3000_driver &record = record_of(request);

    EXPECT_EQ(record.tuned_freq_mhz, 1250U);
    EXPECT_EQ(record.hiband, 0U);
}

TEST_F(PluginTuneTest, without_a_switch_frequency_polarisation_1_selects_the_low_oscillator) {
    tune_request request = universal_lnb_request();
    request.lof_switch = 0;
    request.frequency = 11'600'000;
    request.tone_mode = 1;

    const ds3000_driver &record = record_of(request);

    EXPECT_EQ(record.tuned_freq_mhz, 1850U);
    EXPECT_EQ(record.hiband, 0U) << "the tone needs a switch frequency";
}

TEST_F(PluginTuneTest, without_a_switch_frequency_other_polarisations_select_the_high_oscillator) {
    for (const std::uint32_t polarisation : {0U, 2U, 3U}) {
        tune_request request = universal_lnb_request();
        request.lof_switch = 0;
        request.frequency = 11'600'000 + polarisation * 1000;
        request.polarisation = polarisation;
        request.voltage_mode = 1;

        const ds3000_driver &record = record_of(request);

        EXPECT_EQ(record.tuned_freq_mhz, 1000U + polarisation);
        EXPECT_EQ(record.hiband, 0U);
        EXPECT_EQ(record.voltage_18v, 0U);
    }
}

struct VoltageRule {
    std::uint32_t voltage_mode;
    std::uint32_t polarisation;
    std::uint32_t voltage_18v;
};

TEST_F(PluginTuneTest, the_voltage_comes_from_the_mode_or_else_from_the_polarisation) {
    constexpr std::array<VoltageRule, 9> rules{{{0, 1, 0},
                                                {0, 0, 1},
                                                {0, 2, 1},
                                                {0, 0xFFFF'FFFF, 1},
                                                {1, 2, 0},
                                                {2, 1, 1},
                                                {2, 2, 1},
                                                {3, 2, 0},
                                                {0x102, 2, 0}}};
    Tuner *tuner = ready();
    tune_request request = universal_lnb_request();
    for (const VoltageRule &rule : rules) {
        SCOPED_TRACE(testing::Message()
                     << "mode " << rule.voltage_mode << ", polarisation " << rule.polarisation);
        request.frequency += 1000;  // so that the request is never a repetition
        request.voltage_mode = rule.voltage_mode;
        request.polarisation = rule.polarisation;
        forget();

        EXPECT_EQ(tuner->tune(tuner, &request), 1U);

        EXPECT_EQ(tuner->driver->voltage_18v, rule.voltage_18v);
        EXPECT_THAT(messages(),
                    testing::HasSubstr(rule.voltage_18v != 0 ? " volt(18) " : " volt(13) "));
        EXPECT_THAT(recorded(),
                    testing::HasSubstr(rule.voltage_18v != 0 ? "gpio 7 1\nwrite lnbh23 4C\n"
                                                             : "gpio 7 0\nwrite lnbh23 44\n"));
    }
}

struct ToneRule {
    std::uint32_t tone_mode;
    std::uint32_t frequency;
    std::uint32_t if_mhz;
    int hiband;
};

TEST_F(PluginTuneTest, the_tone_follows_the_mode_or_else_the_band) {
    constexpr std::array<ToneRule, 8> rules{{{0, 11'600'000, 1850, 0},
                                             {0, 11'800'000, 1200, 1},
                                             {1, 11'600'000, 1850, 1},
                                             {1, 11'800'000, 1200, 1},
                                             {2, 11'600'000, 1850, 0},
                                             {2, 11'800'000, 1200, 0},
                                             {3, 11'600'000, 1850, 0},
                                             {0x101, 11'800'000, 1200, 1}}};
    for (const ToneRule &rule : rules) {
        SCOPED_TRACE(testing::Message() << "mode " << rule.tone_mode << ", " << rule.frequency);
        Tuner *tuner = ready();
        tune_request request = universal_lnb_request();
        request.tone_mode = rule.tone_mode;
        request.frequency = rule.frequency;

        EXPECT_EQ(tuner->tune(tuner, &request), 1U);

        EXPECT_EQ(tuner->driver->tuned_freq_mhz, rule.if_mhz) << "the oscillator is the band's";
        EXPECT_EQ(tuner->driver->hiband, rule.hiband);
        EXPECT_EQ(board_.demod.written[0xA2], rule.hiband != 0 ? 0x01 : 0x81);
        EXPECT_THAT(messages(),
                    testing::HasSubstr(" hiband(" + std::to_string(rule.hiband) + ") "));
        tuner->finalize(tuner);
        board_.demod.written[0xA1] = 0;
    }
}

TEST_F(PluginTuneTest, each_switch_port_has_its_message_with_voltage_and_band_bits) {
    for (std::uint32_t port = 1; port <= 4; ++port) {
        for (const int voltage_18v : {0, 1}) {
            for (const int hiband : {0, 1}) {
                SCOPED_TRACE(testing::Message() << "port " << port << (voltage_18v ? " 18 V" : "")
                                                << (hiband != 0 ? " high band" : ""));
                Tuner *tuner = ready();
                tune_request request = universal_lnb_request();
                request.switch_pos = port;
                request.polarisation = voltage_18v ? 2 : 1;
                request.frequency = hiband != 0 ? 11'800'000 : 11'600'000;

                EXPECT_EQ(tuner->tune(tuner, &request), 1U);

                const int command =
                    0xF0 + 4 * (static_cast<int>(port) - 1) + 2 * voltage_18v + hiband;
                EXPECT_THAT(diseqc_message(), testing::ElementsAre(0xE0, 0x10, 0x38, command));
                tuner->finalize(tuner);
            }
        }
    }
}

TEST_F(PluginTuneTest, switch_ports_above_4_wrap_in_the_command_byte) {
    Tuner *tuner = ready();
    tune_request request = universal_lnb_request();
    request.switch_pos = 5;
    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    EXPECT_THAT(diseqc_message(), testing::ElementsAre(0xE0, 0x10, 0x38, 0x01));
    EXPECT_EQ(tuner->driver->switch_pos, 5U);
    forget();

    request.switch_pos = 255;
    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    EXPECT_THAT(diseqc_message(), testing::ElementsAre(0xE0, 0x10, 0x38, 0xE9));
    EXPECT_THAT(messages(), testing::HasSubstr(" switch_pos(255) at "));
}

TEST_F(PluginTuneTest, only_the_low_byte_of_the_switch_port_counts) {
    Tuner *tuner = ready();
    tune_request request = universal_lnb_request();
    request.switch_pos = 0x104;
    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    EXPECT_THAT(diseqc_message(), testing::ElementsAre(0xE0, 0x10, 0x38, 0xFD));
    EXPECT_EQ(tuner->driver->switch_pos, 4U);
    EXPECT_THAT(messages(), testing::HasSubstr(" switch_pos(4) at "));
    forget();

    request.switch_pos = 0xFFFF'FF04;
    EXPECT_EQ(tuner->tune(tuner, &request), 0U) << "nothing changed and not locked";
    EXPECT_EQ(recorded(), "log Tuner::tune()\n");
    forget();

    request.switch_pos = 0xFFFF'FF00;
    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    EXPECT_THAT(diseqc_message(), testing::IsEmpty());
    EXPECT_EQ(tuner->driver->switch_pos, 0U);
}

TEST_F(PluginTuneTest, before_a_switch_message_the_tone_is_off_at_the_new_voltage) {
    Tuner *tuner = ready();
    tune_request request = universal_lnb_request();
    request.switch_pos = 1;
    request.polarisation = 2;

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);

    EXPECT_THAT(recorded(), testing::HasSubstr(R"(gpio 7 1
write lnbh23 4C
gpio 6 1
read demod A1 -> 00
read demod A2 -> 00
write demod A2 80
write demod A1 00
read demod A2 -> 80
write demod A2 00
write demod A3 E0
write demod A4 10
write demod A5 38
write demod A6 F3
read demod A1 -> 00
write demod A1 1F
wait 10000
read demod A1 -> 1F
read demod A2 -> 00
write demod A2 80
read demod A1 -> 1F
read demod A2 -> 80
write demod A2 00
write demod A1 1C
read demod B2 -> C0
)"));
}

TEST_F(PluginTuneTest, a_switch_message_that_is_never_sent_does_not_stop_the_tune) {
    board_.demod.fixed[0xA1] = 0x40;  // busy for ever
    Tuner *tuner = ready();
    tune_request request = universal_lnb_request();
    request.switch_pos = 1;

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);

    const std::string poll = "wait 10000\nread demod A1 -> 40";
    EXPECT_THAT(recorded(), testing::HasSubstr("write demod A1 1F\n" + repeat(15, poll) +
                                               "read demod A1 -> 40\nwrite demod A1 40\n"));
    EXPECT_THAT(messages(), testing::Not(testing::HasSubstr("error")));
}

TEST_F(PluginTuneTest, delivery_systems_other_than_5_and_6_are_refused) {
    for (const std::uint32_t system : {0U, 4U, 7U, 0x105U, 0xFFFF'FFFFU}) {
        SCOPED_TRACE(system);
        tune_request request = universal_lnb_request();
        request.delivery_system = system;
        request.frequency = 12'000'000;

        expect_refusal(request, "ds300x_and_ts2022: wrong delivery system\n");
    }
}

TEST_F(PluginTuneTest, an_if_of_949999_khz_is_refused) {
    expect_refusal(single_oscillator(10'699'999, 9'750'000),
                   "ds3000: SYS_DVBS\nlow: 9750000 switch: 0 high: 0\n"
                   "frequency 949999 out of range (950000..2150000)\n");
}

TEST_F(PluginTuneTest, an_if_of_2150001_khz_is_refused) {
    tune_request request = single_oscillator(11'900'001, 9'750'000);
    request.delivery_system = 6;

    expect_refusal(request,
                   "ds3000: SYS_DVBS2\nlow: 9750000 switch: 0 high: 0\n"
                   "frequency 2150001 out of range (950000..2150000)\n");
}

TEST_F(PluginTuneTest, an_if_of_0_khz_is_refused) {
    expect_refusal(single_oscillator(9'750'000, 9'750'000),
                   "ds3000: SYS_DVBS\nlow: 9750000 switch: 0 high: 0\n"
                   "frequency 0 out of range (950000..2150000)\n");
}

TEST_F(PluginTuneTest, the_largest_difference_is_refused_and_printed_signed) {
    expect_refusal(single_oscillator(0x8000'0000, 0),
                   "ds3000: SYS_DVBS\nlow: 0 switch: 0 high: 0\n"
                   "frequency -2147483648 out of range (950000..2150000)\n");
}

TEST_F(PluginTuneTest, oscillators_are_printed_unsigned) {
    tune_request request = universal_lnb_request();
    request.lof_low = 0xFFFF'FFFF;
    request.lof_switch = 0x8000'0000;
    request.lof_high = 0xFFFF'FFFE;

    expect_refusal(request,
                   "ds3000: SYS_DVBS\n"
                   "low: 4294967295 switch: 2147483648 high: 4294967294\n"
                   "frequency 11700001 out of range (950000..2150000)\n");
}

TEST_F(PluginTuneTest, an_if_of_950000_khz_is_accepted) {
    EXPECT_EQ(record_of(single_oscillator(10'700'000, 9'750'000)).tuned_freq_mhz, 950U);
}

TEST_F(PluginTuneTest, an_if_of_2150000_khz_is_accepted) {
    EXPECT_EQ(record_of(single_oscillator(11'900'000, 9'750'000)).tuned_freq_mhz, 2150U);
}

TEST_F(PluginTuneTest, a_refusal_keeps_the_worker_polling) {
    board_.set_locked(true);
    Tuner *tuner = tuned();
    tune_request request = universal_lnb_request();
    request.delivery_system = 4;

    EXPECT_EQ(tuner->tune(tuner, &request), 0U);
    pass_ms(60);

    EXPECT_EQ(tuner->get_lock(tuner), 1U);
}

TEST_F(PluginTuneTest, repeating_a_request_without_lock_returns_0_and_touches_nothing) {
    Tuner *tuner = tuned();
    const tune_request request = universal_lnb_request();

    EXPECT_EQ(tuner->tune(tuner, &request), 0U);

    EXPECT_EQ(recorded(), "log Tuner::tune()\n");
    EXPECT_EQ(messages(), text(tuner, std::string("tune_ds3000_driver(%p)\nds3000: SYS_DVBS\n") +
                                          universal_lnb_line));
}

TEST_F(PluginTuneTest, repeating_a_request_with_lock_returns_1_and_touches_nothing) {
    board_.set_locked(true);
    Tuner *tuner = tuned();
    pass_ms(60);
    forget();
    const tune_request request = universal_lnb_request();

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);

    EXPECT_EQ(recorded(), "log Tuner::tune()\n");
    EXPECT_EQ(recorded("thread1"), "");
    EXPECT_EQ(messages(), text(tuner, std::string("tune_ds3000_driver(%p)\nds3000: SYS_DVBS\n") +
                                          universal_lnb_line));
}

TEST_F(PluginTuneTest, a_request_that_differs_below_1_mhz_and_1_ksps_is_a_repetition) {
    Tuner *tuner = tuned();
    tune_request request = universal_lnb_request();
    request.frequency += 999;
    request.symbol_rate += 999;

    EXPECT_EQ(tuner->tune(tuner, &request), 0U);

    EXPECT_EQ(recorded(), "log Tuner::tune()\n");
}

TEST_F(PluginTuneTest, a_change_of_any_single_value_is_a_new_channel) {
    using Change = void (*)(tune_request &);
    constexpr std::array<Change, 6> changes{
        [](tune_request &request) { request.frequency += 1000; },
        [](tune_request &request) { request.symbol_rate += 1000; },
        [](tune_request &request) { request.delivery_system = 6; },
        [](tune_request &request) { request.polarisation = 2; },
        [](tune_request &request) { request.tone_mode = 2; },
        [](tune_request &request) { request.switch_pos = 1; },
    };
    Tuner *tuner = tuned();
    for (std::size_t i = 0; i < changes.size(); ++i) {
        SCOPED_TRACE(i);
        tune_request request = universal_lnb_request();
        changes[i](request);

        EXPECT_EQ(tuner->tune(tuner, &request), 1U);
        request = universal_lnb_request();
        EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    }
}

TEST_F(PluginTuneTest, symbol_rates_below_2000_ksps_get_6000_ms_before_a_reconnect) {
    for (const std::uint32_t delivery_system : {5U, 6U}) {
        tune_request request = universal_lnb_request();
        request.delivery_system = delivery_system;
        request.symbol_rate = 1'999'999;
        EXPECT_EQ(record_of(request).drop_timeout_ms, 6000U);

        request.symbol_rate = 2'000'000;
        EXPECT_EQ(record_of(request).drop_timeout_ms, 4000U);
    }
}

TEST_F(PluginTuneTest, a_new_channel_keeps_the_lock_status_of_the_old_until_the_next_poll) {
    board_.set_locked(true);
    Tuner *tuner = tuned();
    pass_ms(60);
    ASSERT_EQ(tuner->get_lock(tuner), 1U);
    board_.set_locked(false);
    tune_request request = universal_lnb_request();
    request.frequency += 10'000;

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    EXPECT_EQ(tuner->get_lock(tuner), 1U);

    pass_ms(60);
    EXPECT_EQ(tuner->get_lock(tuner), 0U);
}

TEST_F(PluginTuneTest, a_failed_connect_keeps_the_channel_and_its_repetition_tries_nothing) {
    board_.demod.fixed[0xB2] = 0x40;  // an unknown chip: no connect
    Tuner *tuner = create();
    EXPECT_EQ(tuner->init(tuner), 0U);
    tuner->driver->idle = 1;  // as after an init whose thread could not be made
    tune_request request = universal_lnb_request();
    request.symbol_rate = 1'000'000;
    forget();

    EXPECT_EQ(tuner->tune(tuner, &request), 0U);

    EXPECT_EQ(recorded(), R"(log Tuner::tune()
wait 1000
gpio 7 0
gpio 6 1
read demod A1 -> 00
read demod A2 -> 00
write demod A2 01
write demod A1 04
)");
    EXPECT_THAT(messages(), testing::EndsWith(text(tuner,
                                                   "tune_ds3000_driver() tune error\n"
                                                   "ds3000: idle_thread(%p) is off\n")));
    EXPECT_EQ(tuner->driver->tuned_freq_mhz, 1100U);
    EXPECT_EQ(tuner->driver->tuned_symbol_rate_ksps, 1000U);
    EXPECT_EQ(tuner->driver->tuned_standard, 4U);
    EXPECT_EQ(tuner->driver->hiband, 1U);
    EXPECT_EQ(tuner->driver->drop_timeout_ms, 6000U);
    EXPECT_EQ(tuner->driver->last_lock_ms, 0U);
    EXPECT_EQ(tuner->driver->idle, 0U);
    forget();

    EXPECT_EQ(tuner->tune(tuner, &request), 0U);

    EXPECT_EQ(recorded(), "log Tuner::tune()\n");
    EXPECT_THAT(messages(), testing::Not(testing::HasSubstr("tune error")));
}

// Nobody can answer the request to park: the thread is not parked, and there is none.
const std::string unanswered =
    "tune_ds3000_driver(%p)\n"
    "ds3000: SYS_DVBS\n"
    "low: 9750000 switch: 11700000 high: 10600000\n"
    "tune_ds3000_driver() tune error\n";

TEST_F(PluginTuneTest, a_tune_after_finalize_from_polling_fails_after_1000_us) {
    Tuner *tuner = tuned();
    pass_ms(60);
    tuner->finalize(tuner);
    tune_request request = universal_lnb_request();
    request.frequency += 10'000;
    for (const char *attempt : {"first", "the same again"}) {
        SCOPED_TRACE(attempt);
        forget();
        messages();

        EXPECT_EQ(tuner->tune(tuner, &request), 0U);

        EXPECT_EQ(recorded(), "log Tuner::tune()\nwait 1000\n");
        EXPECT_EQ(messages(), text(tuner, unanswered));
        EXPECT_EQ(tuner->driver->tuned_freq_mhz, 1100U);
    }
}

TEST_F(PluginTuneTest, a_tune_before_init_or_after_a_failed_one_fails_after_1000_us) {
    board_.has_bus = false;
    Tuner *tuner = create();
    const tune_request request = universal_lnb_request();
    for (const bool after_init : {false, true}) {
        SCOPED_TRACE(after_init ? "after init" : "before init");
        if (after_init) {
            EXPECT_EQ(tuner->init(tuner), 0U);
        }
        forget();
        messages();

        EXPECT_EQ(tuner->tune(tuner, &request), 0U);

        EXPECT_EQ(recorded(), "log Tuner::tune()\nwait 1000\n");
        EXPECT_EQ(messages(), text(tuner, unanswered));
    }
}

TEST_F(PluginTuneTest, a_tune_after_finalize_from_parked_goes_on_without_a_thread) {
    Tuner *tuner = ready();
    tuner->finalize(tuner);
    forget();
    const tune_request request = universal_lnb_request();

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);

    EXPECT_THAT(recorded(), testing::StartsWith("log Tuner::tune()\nwait 1000\ngpio 7 0\n"));
}

}  // namespace
}  // namespace tests
