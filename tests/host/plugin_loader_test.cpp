// SPDX-License-Identifier: MIT
#include "host/session/plugin_loader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/terminal/failure.h"

namespace host {
namespace {

using testing::HasSubstr;

constexpr std::uint32_t no_entries[] = {0xFFFFFFFF};
constexpr std::uint32_t nothing_else[] = {0xFFFFFFFF};
constexpr std::uint32_t two_entries[] = {1, 2, 0xFFFFFFFF};

std::uint32_t accept_two(std::uint32_t kind) { return kind == 2 ? 1 : 0; }
std::uint32_t accept_from_two_on(std::uint32_t kind) { return kind >= 2 ? 1 : 0; }
std::uint32_t accept_nothing(std::uint32_t) { return 0; }
const std::uint32_t *list_nothing() { return no_entries; }
const std::uint32_t *list_nothing_else() { return nothing_else; }
const std::uint32_t *list_two() { return two_entries; }
const std::uint32_t *list_null() { return nullptr; }
Tuner *create_nothing(std::uintptr_t) { return nullptr; }

dvb_ts_tuner_metadata right_descriptor() {
    return {1,          accept_two,        accept_two, 0, create_nothing, list_nothing, 0,
            0xFFFFFFFF, list_nothing_else, 0,          0};
}

std::string fault_with(const std::function<void(dvb_ts_tuner_metadata &)> &spoil) {
    dvb_ts_tuner_metadata descriptor = right_descriptor();
    spoil(descriptor);
    return descriptor_fault(&descriptor);
}

TEST(Descriptor, a_right_one_has_no_fault) {
    EXPECT_EQ(fault_with([](auto &) {}), "");
}

TEST(Descriptor, each_wrong_word_is_found) {
    EXPECT_NE(descriptor_fault(nullptr), "");
    EXPECT_THAT(fault_with([](auto &d) { d.descriptor_version = 2; }), HasSubstr("version is 2"));
    EXPECT_THAT(fault_with([](auto &d) { d.accepts_kind_a = nullptr; }),
                HasSubstr("accepts_kind_a"));
    EXPECT_THAT(fault_with([](auto &d) { d.accepts_kind_b = accept_nothing; }),
                HasSubstr("accepts_kind_b(2)"));
    EXPECT_THAT(fault_with([](auto &d) { d.accepts_kind_a = accept_from_two_on; }),
                HasSubstr("accepts_kind_a(3) does not return 0"));
    EXPECT_THAT(fault_with([](auto &d) { d.create = nullptr; }), HasSubstr("create"));
    EXPECT_THAT(fault_with([](auto &d) { d.get_list_a = nullptr; }), HasSubstr("get_list_a"));
    EXPECT_THAT(fault_with([](auto &d) { d.get_list_b = list_null; }), HasSubstr("get_list_b"));
    EXPECT_THAT(fault_with([](auto &d) { d.get_list_b = list_two; }),
                HasSubstr("get_list_b is not empty but begins with 0x1"));
    EXPECT_THAT(fault_with([](auto &d) { d.get_list_b = list_nothing; }), HasSubstr("same list"));
    EXPECT_THAT(fault_with([](auto &d) { d.any_id = 0; }), HasSubstr("any_id"));
    for (auto word : {&dvb_ts_tuner_metadata::null_4, &dvb_ts_tuner_metadata::null_7,
                      &dvb_ts_tuner_metadata::null_10, &dvb_ts_tuner_metadata::null_11}) {
        EXPECT_THAT(fault_with([word](auto &d) { d.*word = 1; }), HasSubstr("always null"));
    }
}

TEST(Tuner, every_operation_must_be_there) {
    Tuner tuner{};
    tuner.init = [](Tuner *) { return 0U; };
    tuner.tune = [](Tuner *, const tune_request *) { return 0U; };
    tuner.get_signal = [](Tuner *, std::uint8_t *) { return 0U; };
    tuner.get_lock = [](Tuner *) { return 0U; };
    tuner.finalize = [](Tuner *) { return 1U; };
    EXPECT_NE(tuner_fault(&tuner, 0), "") << "free is still null";
    tuner.free = [](Tuner *) {};
    EXPECT_EQ(tuner_fault(&tuner, 0), "");
    EXPECT_NE(tuner_fault(nullptr, 0), "");
    EXPECT_THAT(tuner_fault(&tuner, 7), HasSubstr("what create was given"));
    tuner.host_arg = 7;
    EXPECT_EQ(tuner_fault(&tuner, 7), "");
    tuner.unused = 1;
    EXPECT_THAT(tuner_fault(&tuner, 7), HasSubstr("third word"));
}

TEST(SearchPath, is_the_build_s_then_the_installed_tree_s_then_the_configured_one) {
    const auto path = plugin_search_path();

    ASSERT_EQ(path.size(), 3U);
    EXPECT_EQ(path[0].filename(), "lib");
    EXPECT_EQ(path[1], path[0] / "ds3000");
    EXPECT_TRUE(path[2].is_absolute());
}

}  // namespace
}  // namespace host
