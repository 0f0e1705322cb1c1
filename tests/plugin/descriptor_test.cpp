// SPDX-License-Identifier: MIT
#include <array>
#include <cstdint>
#include <cstring>
#include <set>

#include "tests/plugin/plugin_test.h"

namespace tests {
namespace {

class PluginDescriptorTest : public PluginTest {};

constexpr std::array<std::uint32_t, 7> kinds_not_accepted{0,     1,           3,          4,
                                                          0x102, 0x8000'0002, 0xFFFF'FFFF};

TEST_F(PluginDescriptorTest, both_predicates_accept_2_and_nothing_else) {
    EXPECT_EQ(descriptor().accepts_kind_a(2), 1U);
    EXPECT_EQ(descriptor().accepts_kind_b(2), 1U);

    for (const std::uint32_t kind : kinds_not_accepted) {
        EXPECT_EQ(descriptor().accepts_kind_a(kind), 0U) << kind;
        EXPECT_EQ(descriptor().accepts_kind_b(kind), 0U) << kind;
    }
}

TEST_F(PluginDescriptorTest, both_lists_hold_the_terminator_alone) {
    EXPECT_EQ(descriptor().get_list_a()[0], 0xFFFF'FFFFU);
    EXPECT_EQ(descriptor().get_list_b()[0], 0xFFFF'FFFFU);
}

TEST_F(PluginDescriptorTest, the_two_lists_are_separate_objects) {
    EXPECT_NE(descriptor().get_list_a(), descriptor().get_list_b());
    EXPECT_EQ(descriptor().get_list_a(), descriptor().get_list_a());
}

TEST_F(PluginDescriptorTest, the_descriptor_is_eleven_words_in_order) {
    std::array<std::uintptr_t, 11> words{};
    static_assert(sizeof words == sizeof(dvb_ts_tuner_metadata));
    std::memcpy(words.data(), &descriptor(), sizeof words);

    EXPECT_EQ(words[0], 1U);
    EXPECT_EQ(words[3], 0U);
    EXPECT_EQ(words[6], 0U);
    EXPECT_EQ(words[7], 0xFFFF'FFFFU);
    EXPECT_EQ(words[9], 0U);
    EXPECT_EQ(words[10], 0U);

    EXPECT_NE(words[2], 0U);  // the two predicates may be one function
    const std::set<std::uintptr_t> entries{words[1], words[4], words[5], words[8]};
    EXPECT_EQ(entries.count(0), 0U);
    EXPECT_EQ(entries.size(), 4U) << "two of the entries are one function";
}

TEST_F(PluginDescriptorTest, the_descriptor_is_one_static_record) {
    using Export = const dvb_ts_tuner_metadata *();
    auto *const get_metadata =
        reinterpret_cast<Export *>(plugin().symbol("dvb_ts_tuner_get_metadata_ds3000_and_ts2022"));

    EXPECT_EQ(get_metadata(), &descriptor());
}

TEST_F(PluginDescriptorTest, nothing_but_the_metadata_function_is_exported) {
    for (const char *name :
         {"ds3000_context", "ds3000_connect", "ds3000_set_scan_cancel", "ds3000_set_scan_callback",
          "tuner_get_offset", "demod_write", "init_ds3000_driver", "tune_ds3000_driver",
          "dvb_ts_tuner_metadata_ds3000_and_ts2022"}) {
        EXPECT_EQ(plugin().symbol(name), nullptr) << name;
    }
}

TEST_F(PluginDescriptorTest, create_logs_and_touches_no_hardware) {
    create();

    EXPECT_EQ(recorded(), "log Tuner<DS3000_AND_TS2022>::create()\n");
    EXPECT_EQ(messages(), "");
}

TEST_F(PluginDescriptorTest, a_tuner_is_nine_words_with_six_operations) {
    const Tuner *tuner = create();
    std::array<std::uintptr_t, 9> words{};
    static_assert(sizeof words == sizeof(Tuner));
    std::memcpy(words.data(), tuner, sizeof words);

    EXPECT_EQ(words[2], 0U);
    const std::set<std::uintptr_t> operations{words[0], words[1], words[3],
                                              words[4], words[5], words[6]};
    EXPECT_EQ(operations.count(0), 0U);
    EXPECT_EQ(operations.size(), 6U) << "two operations are one function";
    EXPECT_NE(tuner->driver, nullptr);
}

TEST_F(PluginDescriptorTest, create_keeps_what_the_host_passed) {
    constexpr std::uintptr_t everything = ~std::uintptr_t{0};

    Tuner *tuner = descriptor().create(everything);

    EXPECT_EQ(tuner->host_arg, everything);
    tuner->free(tuner);
}

TEST_F(PluginDescriptorTest, each_tuner_has_a_driver_record_of_its_own) {
    const Tuner *first = create();
    const Tuner *second = create();

    EXPECT_NE(first, second);
    EXPECT_NE(first->driver, second->driver);
}

TEST_F(PluginDescriptorTest, get_lock_before_any_tune_is_0) {
    Tuner *tuner = ready();

    EXPECT_EQ(tuner->get_lock(tuner), 0U);
    EXPECT_EQ(recorded(), "");
    EXPECT_EQ(messages(), "");
}

TEST_F(PluginDescriptorTest, getters_before_init_report_nothing) {
    Tuner *tuner = create();
    std::array<std::uint8_t, 3> signal{0xEE, 0xEE, 0xEE};

    EXPECT_EQ(tuner->get_lock(tuner), 0U);
    EXPECT_EQ(tuner->get_signal(tuner, signal.data()), 0U);

    EXPECT_THAT(signal, testing::ElementsAre(0, 0, 0xEE));
}

TEST_F(PluginDescriptorTest, get_signal_copies_quality_and_strength_and_returns_0) {
    Tuner *tuner = ready();
    tuner->driver->snr = 13;
    tuner->driver->strength = 77;
    std::array<std::uint8_t, 3> signal{0xEE, 0xEE, 0xEE};

    EXPECT_EQ(tuner->get_signal(tuner, signal.data()), 0U);

    EXPECT_THAT(signal, testing::ElementsAre(13, 77, 0xEE));
    EXPECT_EQ(recorded(), "");
}

TEST_F(PluginDescriptorTest, get_lock_reads_the_published_status_alone) {
    Tuner *tuner = ready();
    tuner->driver->locked = 1;
    EXPECT_EQ(tuner->get_lock(tuner), 0U);

    tuner->driver->locked = 0;
    tuner->driver->lock_status = 1;
    EXPECT_EQ(tuner->get_lock(tuner), 1U);
}

TEST_F(PluginDescriptorTest, free_without_a_bus_skips_the_close) {
    Tuner *tuner = create();
    const std::string message = text(tuner, "delete_ds3000_driver(%p)\n");
    forget();

    free(tuner);

    EXPECT_EQ(recorded(), "log Tuner::free()\n");
    EXPECT_EQ(messages(), message);
}

TEST_F(PluginDescriptorTest, free_closes_the_bus) {
    Tuner *tuner = ready();
    tuner->finalize(tuner);
    const std::string message = text(tuner, "delete_ds3000_driver(%p)\n");
    forget();

    free(tuner);

    EXPECT_EQ(recorded(), "log Tuner::free()\nbus close\n");
    EXPECT_EQ(messages(), message);
}

TEST_F(PluginDescriptorTest, freeing_one_of_two_tuners_closes_the_bus_of_both) {
    Tuner *first = ready();
    Tuner *second = ready();
    first->finalize(first);
    free(first);
    forget();

    EXPECT_EQ(second->finalize(second), 1U);
    free(second);

    EXPECT_EQ(recorded(), R"(log Tuner::finalize()
write demod 03 11 -> nack
wait 50000
read demod 08 -> nack address
write demod 08 00 -> nack
read demod 04 -> nack address
write demod 04 01 -> nack
read demod 23 -> nack address
write demod 23 11 -> nack
gpio 6 0
write lnbh23 00 -> nack
log Tuner::free()
)");
}

TEST_F(PluginDescriptorTest, a_tuner_after_the_bus_was_closed_opens_it_again) {
    Tuner *first = ready();
    first->finalize(first);
    free(first);
    Tuner *second = create();
    forget();

    EXPECT_EQ(second->init(second), 1U);

    EXPECT_THAT(recorded(), testing::StartsWith("log Tuner::init()\nbus open -> ok\n"
                                                "read demod 08 -> 00\n"));
}

TEST_F(PluginDescriptorTest, unloading_the_plugin_forgets_its_state) {
    Tuner *tuner = ready();
    tuner->finalize(tuner);
    free(tuner);
    unload();
    ASSERT_FALSE(LoadedPlugin::is_loaded());
    load();
    tuner = create();
    forget();

    tuner->init(tuner);

    EXPECT_THAT(recorded(), testing::HasSubstr("# 128 blocks of 64 bytes"));
}

}  // namespace
}  // namespace tests
